#include "apps/vexil/mirror/Backup.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/console/ErrorReport.h"
#include "apps/vexil/console/Event.h"
#include "apps/vexil/files/InterruptibleFile.h"
#include "apps/vexil/mirror/StoreIndex.h"
#include "apps/vexil/mirror/VanishedFiles.h"
#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/session/Session.h"
#include "apps/vexil/transfer/FileJob.h"
#include "apps/vexil/transfer/SessionQueue.h"

#include <memory>
#include <system_error>
#include <utility>

namespace vexil::app {

namespace {

CError makeMixedContentError() {
    return CError("the file was changed while it was backed up: "
                  "the stored content may be neither the old nor the new one");
}

}  // namespace

CBackup::CBackup(CSession& session, IStore& store, CStoreIndex* index, const CBackupOptions& options)
    : m_session(session), m_store(store), m_progress(session.getConsole()), m_index(index),
      m_options(options) {}

/// One file in transfer.
class CBackup::CStoreJob final : public CFileJob {
public:
    CStoreJob(CBackup& backup, const std::filesystem::path& relativePath)
        : CFileJob(backup.m_progress, describe(relativePath)), m_backup(backup),
          m_relativePath(relativePath) {}

    ITransfer& getTransfer() override {
        if (!m_upload) {
            open();
        }
        return *m_upload;
    }

    void onSuccess(CNetRequest&) override {
        // The checksum matched, but another program may have been in the middle of rewriting the file.
        if (m_file->hasChanged()) {
            m_isStored = true;
            throw makeMixedContentError();
        }
        getProgress().complete(m_file->getSize());
        m_backup.noteFile(m_relativePath, m_facts, m_upload->getMark());
    }

    void onFailure(const CError& error) override {
        m_backup.onFailure(m_relativePath, error, getChange(m_upload ? m_file : nullptr, m_isStored));
    }

private:
    void open() {
        m_backup.tellBegin(m_relativePath);
        m_facts = m_backup.readFacts(m_relativePath);
        m_file = new CInterruptibleFile(m_backup.m_folder / m_relativePath);
        m_upload = m_backup.m_store.makeUpload(m_file, m_relativePath, m_backup.findTimeToKeep(m_facts));
    }

    CBackup& m_backup;
    std::filesystem::path m_relativePath;
    CFileFacts m_facts;  // from before the file was opened
    P<CFileInStream> m_file;
    std::unique_ptr<IUpload> m_upload;  // set with m_file, when the first transfer is prepared
    bool m_isStored = false;
};

ExitCode CBackup::run(const CFolderWalker& walker, int jobs) {
    try {
        store(walker, jobs);
    } catch (const std::exception&) {
        printReport(false);
        throw;
    }
    printReport(true);
    return m_failures == 0 ? ExitCode::Done : m_index ? ExitCode::Incomplete : ExitCode::Failed;
}

void CBackup::store(const CFolderWalker& walker, int jobs) {
    m_folder = walker.getFolder();
    if (m_index) {
        m_progress.tellEvents();
        m_index->load();
    }
    m_store.beginUploads();
    m_triesChangedAgain = m_index != nullptr;
    storeAll(jobs, [&] { walker.walk(*this); });
    storeChanged(jobs);
    if (m_options.deletes && m_index) {
        deleteVanished(walker);
        storeAll(jobs, [this] {
            for (const auto& path : m_filesInPlaceOfFolders) {
                start(path);
            }
        });
    }
    // It lists the store, which an unchanged one does not need.
    if (!m_index || m_stored > 0 || !m_index->isConsistent()) {
        m_store.finishUploads(walker, m_failures == 0,
                              [this](const String& name, const String& reason) { onConflict(name, reason); });
    }
    if (m_index) {
        m_index->save();
    }
}

void CBackup::storeAll(int jobs, const std::function<void()>& startAll) {
    {
        CSessionQueue queue(m_session, m_store.getPolicy(), jobs);
        m_queue = &queue;
        startAll();
        m_progress.endCounting();
        for (; !m_files.empty(); m_files.pop_front()) {
            queue.start(make<CStoreJob>(*this, m_files.front()));
        }
        queue.finish();
    }
    for (const auto& path : std::exchange(m_filesAlone, {})) {
        storeAlone(path);
    }
}

/// Once more, because most programs have soon written their files.
void CBackup::storeChanged(int jobs) {
    m_triesChangedAgain = false;
    storeAll(jobs, [this] {
        for (const std::filesystem::path path : std::exchange(m_changedFiles, {})) {
            add(path, readFacts(path).size);
        }
    });
}

void CBackup::deleteVanished(const CFolderWalker& walker) {
    CVanishedFiles vanished(m_session.getConsole(), m_store, *m_index, walker);
    const bool isComplete = m_failures == 0 || !m_index->isUsed();
    const String problem = isComplete ? vanished.findProblem(m_options.maxDeletions)
                                      : String("not everything could be read and stored");
    if (problem.isEmpty()) {
        m_deleted = vanished.remove();
        m_failures += static_cast<int64>(vanished.getPaths().size()) - m_deleted;
    } else if (!vanished.getPaths().empty() || !m_index->isUsed()) {
        ++m_failures;
        m_session.getConsole().message(Verbosity::Error, "NOT deleted: " + problem);
    }
}

void CBackup::onConflict(const String& name, const String& reason) {
    ++m_failures;
    m_session.getConsole().entryMessage(Verbosity::Error, "NOT consistent: ", printable(name), reason,
                                        name.toUTF8());
}

void CBackup::onFile(const std::filesystem::path& relativePath) {
    if (m_index && relativePath == CStoreIndex::name) {
        onSkipped(relativePath, "the index of a backup has this name");
        return;
    }
    const CFileFacts facts = m_index ? readFacts(relativePath) : CFileFacts();
    noteNames(relativePath, facts);
    if (isUnchanged(relativePath, facts)) {
        return;
    }
    if (m_options.deletes && m_index && m_store.hasFolders() && m_index->hasFilesBelow(relativePath)) {
        m_filesInPlaceOfFolders.push_back(relativePath.native());
        return;
    }
    start(relativePath);
}

void CBackup::start(const std::filesystem::path& relativePath) {
    std::error_code failure;
    const auto length = std::filesystem::file_size(m_folder / relativePath, failure);
    const int64 size = failure ? 0 : static_cast<int64>(length);
    if (m_index) {
        m_progress.expect(1, size);
    }
    add(relativePath, size);
}

void CBackup::add(const std::filesystem::path& relativePath, int64 size) {
    if (m_store.isStoredAlone(size)) {
        m_filesAlone.push_back(relativePath.native());
    } else if (m_index) {
        // The walk goes ahead, so that the totals are known.
        m_files.push_back(relativePath.native());
    } else {
        m_queue->start(make<CStoreJob>(*this, relativePath));
    }
}

void CBackup::tellBegin(const std::filesystem::path& relativePath) {
    if (m_index) {
        m_session.getConsole().message(Verbosity::Info, "storing " + describe(relativePath));
    }
}

void CBackup::storeAlone(const std::filesystem::path& relativePath) {
    P<CFileInStream> file;
    bool isStored = false;
    try {
        CInterrupt::throwIfRequested();
        const CFileFacts facts = readFacts(relativePath);
        file = new CInterruptibleFile(m_folder / relativePath);
        tellBegin(relativePath);
        CFileProgress progress(m_progress, describe(relativePath));
        const String mark =
            m_store.storeAlone(m_folder / relativePath, relativePath, findTimeToKeep(facts), progress);
        isStored = true;
        if (file->hasChanged()) {
            throw makeMixedContentError();
        }
        noteFile(relativePath, facts, mark);
    } catch (const CError& error) {
        onFailure(relativePath, error, getChange(file, isStored));
        m_session.setFailedRequest(nullptr);
    }
}

CBackup::Change CBackup::getChange(const P<CFileInStream>& file, bool isStored) {
    if (!file || !file->hasChanged()) {
        return Change::None;
    }
    return isStored ? Change::SomethingStored : Change::NothingStored;
}

/// Reports the failure of one file, and throws the error if others would fail in the same way.
void CBackup::onFailure(const std::filesystem::path& relativePath, const CError& error, Change change) {
    CInterrupt::throwIfRequested();
    const CErrorDiagnosis diagnosis = m_store.getPolicy().diagnose(error);
    if (diagnosis.isHopeless() || (diagnosis.isAccessDenied() && change != Change::NothingStored)) {
        error.throwClone();
    }
    if (change != Change::None && m_triesChangedAgain) {
        m_session.getConsole().message(Verbosity::Info, "storing again, because it was changed meanwhile: " +
                                                            describe(relativePath));
        m_changedFiles.push_back(relativePath.native());
        return;
    }
    onProblem(relativePath, change == Change::NothingStored
                                ? String("the file was changed while it was backed up, and is not stored")
                                : CErrorReport(error).getLine());
}

/// The index does not keep that several names lead to one file.
void CBackup::noteNames(const std::filesystem::path& relativePath, const CFileFacts& facts) {
    if (facts.hasOtherNames) {
        ++m_hardLinks;
        m_session.getConsole().message(Verbosity::Info,
                                       "a hard link, kept as a file of its own: " + describe(relativePath));
    }
}

bool CBackup::isUnchanged(const std::filesystem::path& relativePath, const CFileFacts& facts) {
    if (!m_index || !m_index->isUnchanged(relativePath, m_folder / relativePath, facts)) {
        return false;
    }
    ++m_unchanged;
    m_unchangedBytes += facts.size;
    return true;
}

/// Empty facts if they cannot be read: opening the file then tells why.
CFileFacts CBackup::readFacts(const std::filesystem::path& relativePath) const {
    std::error_code ignored;
    return readFileFacts(m_folder / relativePath, ignored);
}

// A time that may stand for two contents must not tell that a stored file is unchanged.
std::optional<CFileTime> CBackup::findTimeToKeep(const CFileFacts& facts) const {
    return m_index && CStoreIndex::isSettled(facts) ? std::optional(facts.time) : std::nullopt;
}

void CBackup::noteFile(const std::filesystem::path& relativePath, const CFileFacts& facts,
                       const String& mark) {
    ++m_stored;
    if (m_index) {
        m_index->noteStored(relativePath, facts, mark);
        tellFile(relativePath, facts.size);
    }
}

// An event costs time, and there may be very many files.
void CBackup::tellFile(const std::filesystem::path& relativePath, int64 size) {
    if (CConsole& console = m_session.getConsole(); console.hasEvents()) {
        console.tell(CEvent("file").bytes("path", toBytes(relativePath)).number("size", size));
    }
}

void CBackup::onFolder(const std::filesystem::path& relativePath) {
    if (m_index) {
        m_index->note(relativePath, EntryKind::Folder, readFacts(relativePath));
    }
}

/// \return false if it is no link, or cannot be kept
bool CBackup::keepLink(const std::filesystem::path& relativePath) {
    std::error_code failure;
    const std::filesystem::path target = std::filesystem::read_symlink(m_folder / relativePath, failure);
    if (!m_index || failure || target.empty()) {
        return false;
    }
    m_index->note(relativePath, EntryKind::Link, readFacts(relativePath), toBytes(target));
    ++m_links;
    return true;
}

void CBackup::onSkipped(const std::filesystem::path& relativePath, const char* what) {
    if (keepLink(relativePath)) {
        return;
    }
    ++m_skipped;
    m_session.getConsole().entryMessage(Verbosity::Warning, "skipped ", describe(relativePath), what,
                                        toBytes(relativePath));
}

void CBackup::onPart(const std::filesystem::path& relativePath) {
    m_session.getConsole().entryMessage(Verbosity::Warning, "skipped ", describe(relativePath),
                                        "a part of a file, of a program that runs or was killed",
                                        toBytes(relativePath));
}

void CBackup::onEmptyFolder(const std::filesystem::path&) {
    ++m_emptyFolders;
}

void CBackup::onProblem(const std::filesystem::path& relativePath, const String& reason) {
    ++m_failures;
    m_session.getConsole().entryMessage(Verbosity::Error, "NOT backed up: ", describe(relativePath), reason,
                                        toBytes(relativePath));
}

void CBackup::printReport(bool isComplete) {
    CConsole& console = m_session.getConsole();
    const double seconds = m_progress.getSeconds();
    console.printSummary("backed up: " + formatNumberOf(m_progress.getFileCount(), "file") + ", " +
                         formatBytes(m_progress.getByteCount()) + " in " + formatSeconds(seconds) + " (" +
                         formatRate(m_progress.getByteCount(), seconds) + "), " +
                         formatNumberOf(m_store.getPolicy().getRetryCount(), "retry"));
    if (m_index) {
        console.printSummary("unchanged: " + formatNumberOf(m_unchanged, "file") + ", " +
                             formatBytes(m_unchangedBytes) + "; kept in the index: times and modes, " +
                             formatNumberOf(m_links, "link") + ", " +
                             formatNumberOf(m_emptyFolders, "empty folder"));
        if (m_hardLinks > 0) {
            console.printSummary("hard links: " + formatNumberOf(m_hardLinks, "file") +
                                 ", each kept as a file of its own");
        }
        if (m_options.deletes) {
            console.printSummary("deleted: " + formatNumberOf(m_deleted, "file"));
        }
        console.printSummary("not kept: " + formatNumberOf(m_skipped, "special file"));
    } else {
        console.printSummary("not kept: " + formatCount(m_skipped) + " links and special files, " +
                             formatNumberOf(m_emptyFolders, "empty folder") +
                             ", modes and times of all files");
    }
    if (m_failures > 0) {
        console.printSummary("FAILED: " + formatNumberOf(m_failures, "entry") + ", named above");
    }
    if (m_index) {
        console.tell(CEvent("summary")
                         .flag("complete", isComplete)
                         .number("files", m_progress.getFileCount())
                         .number("bytes", m_progress.getByteCount())
                         .number("unchanged_files", m_unchanged)
                         .number("unchanged_bytes", m_unchangedBytes)
                         .number("links", m_links)
                         .number("hard_links", m_hardLinks)
                         .number("empty_folders", m_emptyFolders)
                         .number("skipped", m_skipped)
                         .number("deleted", m_deleted)
                         .number("errors", m_failures)
                         .number("retries", m_store.getPolicy().getRetryCount())
                         .seconds("seconds", seconds));
    }
}

}  // namespace vexil::app
