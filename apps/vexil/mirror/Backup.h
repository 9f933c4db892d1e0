#pragma once

#include "apps/vexil/base/ExitCode.h"
#include "apps/vexil/console/Progress.h"
#include "apps/vexil/files/FolderWalker.h"
#include "apps/vexil/mirror/BackupOptions.h"
#include "apps/vexil/mirror/Store.h"
#include "apps/vexil/platform/FileFacts.h"
#include "vexil/BaseTypes.h"

#include <deque>
#include <filesystem>
#include <functional>
#include <optional>

namespace vexil::app {

class CSession;
class CSessionQueue;
class CStoreIndex;

/// Stores the regular files of a folder, each under its path. Files that the store takes alone follow
/// after the others, one after another: each of them uses all transfers. Reports files that cannot be read
/// or stored, and continues with the others. Ends if the server will refuse everything.
class CBackup : private IFolderVisitor {
public:
    /// Session, store and index must outlive it.
    /// \param index  of the store: then files that have not changed are not stored again, and times, modes,
    ///               links and empty folders are kept; null for none
    CBackup(CSession& session, IStore& store, CStoreIndex* index = nullptr,
            const CBackupOptions& options = {});

    /// Runs the backup, and prints a summary, also before it throws.
    /// \param jobs  how many files are stored at once, at most
    ExitCode run(const CFolderWalker& walker, int jobs);

private:
    class CStoreJob;

    void onFile(const std::filesystem::path& relativePath) override;
    void onSkipped(const std::filesystem::path& relativePath, const char* what) override;
    void onPart(const std::filesystem::path& relativePath) override;
    void onEmptyFolder(const std::filesystem::path& relativePath) override;
    void onFolder(const std::filesystem::path& relativePath) override;
    void onProblem(const std::filesystem::path& relativePath, const String& reason) override;

    void store(const CFolderWalker& walker, int jobs);
    void storeAll(int jobs, const std::function<void()>& startAll);
    void start(const std::filesystem::path& relativePath);
    void deleteVanished(const CFolderWalker& walker);
    void storeAlone(const std::filesystem::path& relativePath);
    bool isUnchanged(const std::filesystem::path& relativePath, const CFileFacts& facts);
    void noteNames(const std::filesystem::path& relativePath, const CFileFacts& facts);
    bool keepLink(const std::filesystem::path& relativePath);
    CFileFacts readFacts(const std::filesystem::path& relativePath) const;
    std::optional<CFileTime> findTimeToKeep(const CFileFacts& facts) const;
    void noteFile(const std::filesystem::path& relativePath, const CFileFacts& facts, const String& mark);
    /// Whether a file was changed by another program while it was stored, and what is stored then.
    enum class Change { None, NothingStored, SomethingStored };
    static Change getChange(const P<CFileInStream>& file, bool isStored);
    void onFailure(const std::filesystem::path& relativePath, const CError& error, Change change);
    void add(const std::filesystem::path& relativePath, int64 size);
    void storeChanged(int jobs);
    void onConflict(const String& name, const String& reason);
    void tellBegin(const std::filesystem::path& relativePath);
    void tellFile(const std::filesystem::path& relativePath, int64 size);
    void printReport(bool isComplete);

    CSession& m_session;
    IStore& m_store;
    std::filesystem::path m_folder;
    CProgress m_progress;
    CStoreIndex* const m_index;
    const CBackupOptions m_options;
    CSessionQueue* m_queue = nullptr;                        // while the folder is walked
    std::deque<std::filesystem::path::string_type> m_files;  // to store, once the folder is walked
    // Paths need ten times the memory of their texts.
    TArray<std::filesystem::path::string_type> m_filesAlone;
    TArray<std::filesystem::path::string_type> m_filesInPlaceOfFolders;  // of the store
    TArray<std::filesystem::path::string_type> m_changedFiles;           // to be tried once more
    bool m_triesChangedAgain = false;
    int64 m_unchanged = 0;
    int64 m_unchangedBytes = 0;
    int64 m_links = 0;
    int64 m_hardLinks = 0;
    int64 m_stored = 0;
    int64 m_skipped = 0;
    int64 m_emptyFolders = 0;
    int64 m_deleted = 0;
    int64 m_failures = 0;
};

}  // namespace vexil::app
