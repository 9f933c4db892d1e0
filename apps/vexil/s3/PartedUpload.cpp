#include "apps/vexil/s3/PartedUpload.h"

#include "apps/vexil/console/Progress.h"
#include "apps/vexil/s3/S3Access.h"
#include "apps/vexil/transfer/Retry.h"
#include "apps/vexil/transfer/SessionQueue.h"
#include "vexil/s3/S3TransferManager.h"

namespace vexil::app {

namespace {

class CPartedProgress : public virtual CBase, public IS3TransferObserver {
public:
    /// The console must outlive it.
    explicit CPartedProgress(CConsole& console) : m_progress(console), m_file(m_progress, String()) {}

    void onProgress(int64 doneBytes, int64 totalBytes) override { m_file.update(doneBytes, totalBytes); }
    void complete(int64 bytes) { m_file.complete(bytes); }

private:
    CProgress m_progress;
    CFileProgress m_file;
};

}  // namespace

void uploadInParts(CS3Access& access, const std::filesystem::path& file, const CPartedUpload& upload) {
    CSession& session = access.getSession();
    const P<CPartedProgress> progress = make<CPartedProgress>(session.getConsole());
    CS3TransferSettings settings;
    settings.parallelParts = upload.jobs;
    settings.partSize = upload.partSize;
    settings.observer = progress;
    settings.requestObserver = makeSessionObserver(session);
    settings.retryPolicy = CRetryPolicy(makeRetrySettings(session));
    settings.verifiesETags = access.verifiesETags();
    CS3TransferManager manager(access.getClient(), settings);
    progress->complete(manager.uploadFile(file, upload.bucket, upload.key, upload.options).size);
}

}  // namespace vexil::app
