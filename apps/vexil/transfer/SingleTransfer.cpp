#include "apps/vexil/transfer/SingleTransfer.h"

#include "apps/vexil/console/Progress.h"
#include "apps/vexil/session/Session.h"
#include "apps/vexil/transfer/TransferQueue.h"

#include <memory>

namespace vexil::app {

namespace {

/// The only job of a queue.
class CSingleJob : public ITransferJob {
public:
    CSingleJob(ITransfer& transfer, CProgress& progress)
        : m_transfer(transfer), m_fileProgress(progress, "") {}

    ITransfer& getTransfer() override { return m_transfer; }
    CFileProgress* getProgress() override { return &m_fileProgress; }
    void onSuccess() override {}
    void onFailure(const CError& error) override { error.throwClone(); }

private:
    ITransfer& m_transfer;
    CFileProgress m_fileProgress;
};

}  // namespace

void runSingleTransfer(CSession& session, ITransferPolicy& policy, ITransfer& transfer) {
    CProgress progress(session.getConsole());
    CTransferQueue queue(session, policy, 1);
    queue.start(std::make_unique<CSingleJob>(transfer, progress));
    queue.finish();
}

}  // namespace vexil::app
