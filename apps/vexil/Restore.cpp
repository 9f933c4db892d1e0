#include "apps/vexil/Restore.h"

#include "apps/vexil/Context.h"
#include "apps/vexil/ErrorReport.h"
#include "apps/vexil/FileProgress.h"
#include "apps/vexil/Interrupt.h"
#include "apps/vexil/ObjectDownload.h"
#include "apps/vexil/ObjectKey.h"
#include "apps/vexil/PartFile.h"
#include "apps/vexil/Text.h"
#include "apps/vexil/TransferMonitor.h"
#include "apps/vexil/TransferQueue.h"

#include <memory>
#include <system_error>
#include <utility>

namespace vexil::app {

namespace fs = std::filesystem;

/// One object on its way.
class CRestore::CObjectJob : public ITransferJob {
public:
    CObjectJob(CRestore& restore, const CS3ListObjectsElement& element)
        : m_restore(restore), m_key(element.getKey()), m_size(element.getSize()),
          m_name(m_key.substr(restore.m_prefix.length()).toLower()),
          m_fileProgress(restore.m_progress, printable(m_key)) {}

    ~CObjectJob() override {
        if (m_download) {
            m_restore.m_namesUnderWay.erase(m_name);
        }
    }

    /// What it will be called below the folder, for comparisons: some file systems take upper and lower case for the
    /// same.
    const String& getName() const noexcept { return m_name; }

    void prepare(CNetRequest& request) override {
        if (!m_download) {
            open();
        }
        CTransferMonitor::of(request).setFile(&m_fileProgress);
        m_download->prepare(request);
    }

    void checkAnswer(CNetRequest& request) override { m_download->checkAnswer(request); }

    bool canBeginAnew(CNetRequest& request, const CError& error) override {
        return m_download->canBeginAnew(request, error);
    }

    void onSuccess() override {
        m_restore.m_continuations += m_download->getContinuationCount();
        if (const int64 size = m_file->getStream()->getSize(); size != m_size) {
            throw CError("the object has " + formatNumberOf(size, "byte") + ", but the listing says " +
                         formatCount(m_size));
        }
        m_file->commit();
        m_fileProgress.complete(m_size);
    }

    void onFailure(const CError& error) override {
        CInterrupt::throwIfRequested();
        if (CErrorReport(error).isHopeless()) {
            error.throwClone();
        }
        m_restore.reportFailure(m_key, error);
    }

private:
    void open() {
        const fs::path relativePath = makeRelativePath(m_restore.m_prefix, m_key);
        m_restore.makeFolders(relativePath.parent_path());
        m_file = std::make_unique<CPartFile>(m_restore.m_folder / relativePath);
        m_restore.m_namesUnderWay.insert(m_name);
        m_download = std::make_unique<CObjectDownload>(m_restore.m_context, m_restore.m_bucket, m_key,
                                                       m_file->getStream());
    }

    CRestore& m_restore;
    String m_key;
    int64 m_size;
    String m_name;
    CFileProgress m_fileProgress;
    std::unique_ptr<CPartFile> m_file;
    std::unique_ptr<CObjectDownload> m_download;  // set with m_file, when the first transfer is prepared
};

CRestore::CRestore(CContext& context, const String& bucket, const String& prefix, const fs::path& folder)
    : m_context(context), m_bucket(bucket), m_prefix(makeFolderPrefix(prefix)), m_folder(folder),
      m_progress(context.getConsole()) {}

void CRestore::run(int jobs) {
    std::error_code failure;
    fs::create_directories(m_folder, failure);
    if (!fs::is_directory(m_folder)) {
        throw CError("Cannot make the folder '" + describe(m_folder) +
                         "': " + String::fromUTF8Lossy(failure.message()),
                     "system", failure.value());
    }
    CTransferQueue queue(m_context, jobs);
    CS3ObjectEnum objects(&m_context.getClient(), &m_context.getRequest(), m_bucket, m_prefix, "", -1);
    while (hasNext(queue, objects)) {
        CInterrupt::throwIfRequested();
        restore(queue, *objects.getCurrObject());
    }
    queue.finish();
}

bool CRestore::hasNext(CTransferQueue& queue, CS3ObjectEnum& objects) {
    try {
        return objects.next();
    } catch (const std::exception&) {
        // What was listed before shall not suffer from it.
        queue.finish();
        throw;
    }
}

void CRestore::restore(CTransferQueue& queue, const CS3ListObjectsElement& element) {
    if (isFolderMarker(element)) {
        return;
    }
    auto job = std::make_unique<CObjectJob>(*this, element);
    const bool isAlone = CPartFile::mayBePart(job->getName());
    if (isAlone || isInTheWayOf(job->getName())) {
        queue.finish();
    }
    queue.start(std::move(job));
    if (isAlone) {
        queue.finish();
    }
}

// Consoles of services make such objects so that a folder can be seen while it is empty.
bool CRestore::isFolderMarker(const CS3ListObjectsElement& element) const {
    return element.getSize() == 0 && element.getKey().endsWith("/");
}

// One after the other, two objects of one name replace each other, and what wants to be a folder finds the file.
bool CRestore::isInTheWayOf(const String& name) const {
    for (std::size_t end = 0; end != String::npos;) {
        end = name.find(L'/', end + 1);
        if (m_namesUnderWay.contains(name.substr(0, end))) {
            return true;
        }
    }
    return false;
}

// Step by step: a link on the way, made by whoever, could lead out of the folder.
void CRestore::makeFolders(const fs::path& relativePath) {
    fs::path folder = m_folder;
    for (const fs::path& name : relativePath) {
        folder /= name;
        std::error_code failure;
        const fs::file_status status = fs::symlink_status(folder, failure);
        if (fs::is_directory(status)) {
            continue;
        }
        if (fs::exists(status)) {
            throw CError("Cannot make the folder '" + describe(folder) + "': there is " +
                             (fs::is_symlink(status) ? "a link" : "a file") + " of this name",
                         "system");
        }
        if (!fs::create_directory(folder, failure)) {
            throw CError("Cannot make the folder '" + describe(folder) +
                             "': " + String::fromUTF8Lossy(failure.message()),
                         "system", failure.value());
        }
    }
}

void CRestore::reportFailure(const String& key, const CError& error) {
    ++m_failures;
    m_context.getConsole().message(Verbosity::Error,
                                   "NOT restored: " + printable(key) + ": " + CErrorReport(error).getLine());
}

void CRestore::printReport() {
    CConsole& console = m_context.getConsole();
    const double seconds = m_progress.getSeconds();
    console.print("restored: " + formatNumberOf(m_progress.getFileCount(), "file") + ", " +
                  formatBytes(m_progress.getByteCount()) + " in " + formatSeconds(seconds) + " (" +
                  formatRate(m_progress.getByteCount(), seconds) + "), " +
                  formatNumberOf(m_context.getClient().getRetryCount(), "retry") + ", " +
                  formatNumberOf(m_continuations, "continued download"));
    if (m_failures > 0) {
        console.print("FAILED: " + formatNumberOf(m_failures, "object") + ", named above");
    }
}

}  // namespace vexil::app
