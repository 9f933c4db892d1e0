#pragma once

#include "apps/vexil/base/ExitCode.h"
#include "apps/vexil/console/Progress.h"
#include "apps/vexil/files/FolderWalker.h"
#include "apps/vexil/mirror/Store.h"
#include "vexil/BaseTypes.h"

namespace vexil::app {

class CSession;
class CSessionQueue;

/// Stores the regular files of a folder, each under its path. Files that the store takes alone follow
/// after the others, one after another: each of them uses all transfers. Reports files that cannot be read
/// or stored, and continues with the others. Ends if the server will refuse everything.
class CBackup : private IFolderVisitor {
public:
    /// Session and store must outlive it.
    CBackup(CSession& session, IStore& store);

    /// Runs the backup, and prints a summary, also before it throws.
    /// \param jobs  how many files are stored at once, at most
    ExitCode run(const CFolderWalker& walker, int jobs);

private:
    class CStoreJob;

    void onFile(const std::filesystem::path& relativePath) override;
    void onSkipped(const std::filesystem::path& relativePath, const char* what) override;
    void onPart(const std::filesystem::path& relativePath) override;
    void onEmptyFolder(const std::filesystem::path& relativePath) override;
    void onProblem(const std::filesystem::path& relativePath, const String& reason) override;

    void store(const CFolderWalker& walker, int jobs);
    void storeAlone(const std::filesystem::path& relativePath);
    void onFailure(const std::filesystem::path& relativePath, const CError& error, bool isChanged);
    void onConflict(const String& name, const String& reason);
    void printReport();

    CSession& m_session;
    IStore& m_store;
    std::filesystem::path m_folder;
    CProgress m_progress;
    CSessionQueue* m_queue = nullptr;  // while the folder is walked
    TArray<std::filesystem::path> m_filesAlone;
    int64 m_skipped = 0;
    int64 m_emptyFolders = 0;
    int64 m_failures = 0;
};

}  // namespace vexil::app
