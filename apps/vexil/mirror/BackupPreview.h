#pragma once

#include "apps/vexil/base/ExitCode.h"
#include "apps/vexil/files/FolderWalker.h"
#include "apps/vexil/mirror/BackupOptions.h"

namespace vexil::app {

class CSession;
class CStoreIndex;
class IStore;

/// Prints what a backup would do, and changes nothing.
class CBackupPreview : private IFolderVisitor {
public:
    /// Session, store and index must outlive it.
    CBackupPreview(CSession& session, IStore& store, CStoreIndex& index, const CBackupOptions& options);

    ExitCode run(const CFolderWalker& walker);

private:
    void onFile(const std::filesystem::path& relativePath) override;
    void onSkipped(const std::filesystem::path& relativePath, const char* what) override;
    void onPart(const std::filesystem::path&) override {}
    void onEmptyFolder(const std::filesystem::path&) override {}
    void onProblem(const std::filesystem::path& relativePath, const String& reason) override;

    void previewDeletions(const CFolderWalker& walker);

    CSession& m_session;
    IStore& m_store;
    CStoreIndex& m_index;
    const CBackupOptions m_options;
    std::filesystem::path m_folder;
    int64 m_files = 0;
    int64 m_bytes = 0;
    int64 m_unchanged = 0;
    int64 m_deletions = 0;
    int64 m_failures = 0;
};

}  // namespace vexil::app
