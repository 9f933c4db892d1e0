#include "apps/vexil/mirror/Restore.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/console/ErrorReport.h"
#include "apps/vexil/console/Event.h"
#include "apps/vexil/files/MakeFolders.h"
#include "apps/vexil/files/PartFile.h"
#include "apps/vexil/index/IndexError.h"
#include "apps/vexil/mirror/RestoredFacts.h"
#include "apps/vexil/mirror/StoreIndex.h"
#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/session/Session.h"
#include "apps/vexil/transfer/FileJob.h"
#include "apps/vexil/transfer/SessionQueue.h"

#include <system_error>
#include <utility>

namespace vexil::app {

namespace fs = std::filesystem;

/// One file in transfer.
class CRestore::CFetchJob final : public CFileJob {
public:
    CFetchJob(CRestore& restore, std::unique_ptr<IStoredFile> file)
        : CFileJob(restore.m_progress, printable(file->getName())), m_restore(restore),
          m_stored(std::move(file)), m_name(m_stored->getRelativeName().toLower()) {}

    ~CFetchJob() override {
        if (m_download) {
            m_restore.m_namesUnderWay.erase(m_name);
        }
    }

    /// Its name below the folder in a form for comparisons: some file systems ignore letter case.
    const String& getName() const noexcept { return m_name; }

    ITransfer& getTransfer() override {
        if (!m_download) {
            open();
        }
        return *m_download;
    }

    void onSuccess(CNetRequest&) override {
        m_restore.m_continuations += m_download->getContinuationCount();
        const int64 listedSize = m_stored->getSize();
        if (const int64 size = m_file->getStream()->getSize(); size != listedSize) {
            throw CError("it has " + formatNumberOf(size, "byte") + ", but the listing says " +
                         formatCount(listedSize));
        }
        m_file->commit();
        getProgress().complete(listedSize);
        m_restore.noteFetched(*m_stored);
    }

    void onFailure(const CError& error) override { m_restore.onFailure(*m_stored, error); }

private:
    void open() {
        m_restore.tellBegin(*m_stored);
        const fs::path path = m_restore.preparePath(*m_stored);
        m_file = std::make_unique<CPartFile>(path, FileAccess::Usual, m_stored->getContent());
        m_restore.m_namesUnderWay.insert(m_name);
        m_download = m_stored->makeDownload(m_file->getStream());
    }

    CRestore& m_restore;
    std::unique_ptr<IStoredFile> m_stored;
    String m_name;
    std::unique_ptr<CPartFile> m_file;
    std::unique_ptr<IDownload> m_download;  // set with m_file, when the first transfer is prepared
};

CRestore::CRestore(CSession& session, IStore& store, const fs::path& folder, bool usesIndex)
    : m_session(session), m_store(store), m_folder(folder), m_progress(session.getConsole()),
      m_leftParts(session.getConsole()) {
    if (usesIndex) {
        m_facts =
            std::make_unique<CRestoredFacts>(folder, [this](const std::string& path, const String& reason) {
                onProblem(describe(toPath(path)), reason, path);
            });
    }
}

CRestore::~CRestore() = default;

ExitCode CRestore::run(int jobs) {
    try {
        restoreAll(jobs);
    } catch (const std::exception&) {
        printReport(false);
        throw;
    }
    printReport(true);
    if (m_progress.getFileCount() + m_failures == 0) {
        m_session.getConsole().message(Verbosity::Warning,
                                       String("vexil: warning: there was nothing to restore; ") +
                                           m_store.getQuestionWhereEmpty());
        return ExitCode::NotFound;
    }
    return m_failures == 0 ? ExitCode::Done : m_facts ? ExitCode::Incomplete : ExitCode::Failed;
}

void CRestore::restoreAll(int jobs) {
    std::error_code failure;
    fs::create_directories(m_folder, failure);
    if (!fs::is_directory(m_folder)) {
        throw CError("Cannot make the folder '" + describe(m_folder) +
                         "': " + String::fromUTF8Lossy(failure.message()),
                     "system", failure.value());
    }
    if (m_facts) {
        m_progress.tellEvents();
    }
    const std::unique_ptr<IStoreListing> listing = m_store.list();
    CSessionQueue queue(m_session, m_store.getPolicy(), jobs);
    while (std::unique_ptr<IStoredFile> file = findNext(queue, *listing)) {
        CInterrupt::throwIfRequested();
        if (takeIndex(file)) {
            continue;
        }
        if (m_facts) {
            // The listing goes ahead, so that the totals are known.
            m_progress.expect(1, file->getSize());
            m_files.push_back(std::move(file));
        } else {
            restore(queue, std::move(file));
        }
    }
    m_progress.endCounting();
    restoreListed(queue);
    for (const std::unique_ptr<IStoredFile>& file : m_filesAlone) {
        fetchAlone(*file);
    }
    m_leftParts.clearAll();
    applyIndex();
}

void CRestore::restoreListed(CSessionQueue& queue) {
    for (; !m_files.empty(); m_files.pop_front()) {
        restore(queue, std::move(m_files.front()));
    }
    queue.finish();
}

/// \return whether the file is the index, which is no file of the user
bool CRestore::takeIndex(std::unique_ptr<IStoredFile>& file) {
    if (!m_facts) {
        return false;
    }
    if (file->getRelativeName() == CStoreIndex::name) {
        m_indexFile = std::move(file);
        return true;
    }
    try {
        m_facts->noteListed(file->getRelativePath());
    } catch (const CError&) {
        // The restore of the file reports it.
        return false;
    }
    return false;
}

void CRestore::applyIndex() {
    if (!m_indexFile) {
        return;
    }
    try {
        m_facts->apply(CStoreIndex::fetch(m_session, m_store, *m_indexFile));
    } catch (const CIndexError& error) {
        onProblem("times, modes, links and empty folders", error.getMessage(), CStoreIndex::name);
    }
}

void CRestore::noteFetched(const IStoredFile& file) {
    if (m_facts) {
        const fs::path path = file.getRelativePath();
        m_facts->noteFetched(path, file.getSize());
        if (CConsole& console = m_session.getConsole(); console.hasEvents()) {
            console.tell(CEvent("file").bytes("path", toBytes(path)).number("size", file.getSize()));
        }
    }
}

std::unique_ptr<IStoredFile> CRestore::findNext(CSessionQueue& queue, IStoreListing& listing) {
    try {
        return listing.findNext();
    } catch (const std::exception&) {
        // Files that were listed before the error must still be restored.
        restoreListed(queue);
        throw;
    }
}

void CRestore::restore(CSessionQueue& queue, std::unique_ptr<IStoredFile> file) {
    if (file->isFetchedAlone()) {
        m_filesAlone.push_back(std::move(file));
        return;
    }
    auto job = make<CFetchJob>(*this, std::move(file));
    if (isInTheWayOf(job->getName())) {
        queue.finish();
    }
    queue.start(std::move(job));
}

void CRestore::tellBegin(const IStoredFile& file) {
    if (m_facts) {
        m_session.getConsole().message(Verbosity::Info, "fetching " + printable(file.getRelativeName()));
    }
}

void CRestore::fetchAlone(const IStoredFile& file) {
    try {
        CInterrupt::throwIfRequested();
        tellBegin(file);
        CFileProgress progress(m_progress, printable(file.getName()));
        const fs::path path = preparePath(file);
        m_leftParts.keep(path, file.getContent());
        file.fetchAlone(path, progress);
        noteFetched(file);
    } catch (const CError& error) {
        onFailure(file, error);
        m_session.setFailedRequest(nullptr);
    }
}

/// Makes the folders of a file, and removes what killed programs have left of it.
fs::path CRestore::preparePath(const IStoredFile& file) {
    const fs::path relativePath = file.getRelativePath();
    makeFoldersBelow(m_folder, relativePath.parent_path());
    const fs::path path = m_folder / relativePath;
    m_leftParts.lookInto(path.parent_path());
    m_leftParts.clear(path, file.getContent());
    return path;
}

// Two files of one name would replace each other, and a folder cannot be made if a file has its name.
bool CRestore::isInTheWayOf(const String& name) const {
    for (std::size_t end = 0; end != String::npos;) {
        end = name.find(L'/', end + 1);
        if (m_namesUnderWay.contains(name.substr(0, end))) {
            return true;
        }
    }
    return false;
}

/// Reports the failure of one file, and throws the error if others would fail in the same way.
void CRestore::onFailure(const IStoredFile& file, const CError& error) {
    CInterrupt::throwIfRequested();
    if (m_store.getPolicy().diagnose(error).isHopeless()) {
        error.throwClone();
    }
    onProblem(printable(file.getName()), CErrorReport(error).getLine(), file.getRelativeName().toUTF8());
}

void CRestore::onProblem(const String& name, const String& reason, const std::string& path) {
    ++m_failures;
    m_session.getConsole().entryMessage(Verbosity::Error, "NOT restored: ", name, reason, path);
}

void CRestore::printReport(bool isComplete) {
    CConsole& console = m_session.getConsole();
    const double seconds = m_progress.getSeconds();
    console.printSummary("restored: " + formatNumberOf(m_progress.getFileCount(), "file") + ", " +
                         formatBytes(m_progress.getByteCount()) + " in " + formatSeconds(seconds) + " (" +
                         formatRate(m_progress.getByteCount(), seconds) + "), " +
                         formatNumberOf(m_store.getPolicy().getRetryCount(), "retry") + ", " +
                         formatNumberOf(m_continuations, "continued download"));
    if (m_failures > 0) {
        console.printSummary("FAILED: " + formatNumberOf(m_failures, m_store.getNoun()) + ", named above");
    }
    if (m_facts) {
        console.tell(CEvent("summary")
                         .flag("complete", isComplete)
                         .number("files", m_progress.getFileCount())
                         .number("bytes", m_progress.getByteCount())
                         .number("errors", m_failures)
                         .number("retries", m_store.getPolicy().getRetryCount())
                         .seconds("seconds", seconds));
    }
}

}  // namespace vexil::app
