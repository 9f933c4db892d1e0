#pragma once

#include "apps/vexil/FolderWalker.h"
#include "apps/vexil/Progress.h"
#include "vexil/BaseTypes.h"

namespace vexil::app {

class CContext;
class CTransferQueue;

/// Stores the regular files of a folder as objects, each under its path. What cannot be read or stored is
/// reported and does not hinder the rest; a server that will refuse everything ends it.
class CBackup : private IFolderVisitor {
public:
    /// The context must outlive it.
    /// \param prefix  goes before the path of each file; a "/" is put between them
    CBackup(CContext& context, const String& bucket, const String& prefix);

    /// \param jobs  how many files are stored at once, at most
    void run(const CFolderWalker& walker, int jobs);

    /// Prints what was done.
    void printReport();
    int64 getFailureCount() const noexcept { return m_failures; }

private:
    class CFileJob;

    void onFile(const std::filesystem::path& relativePath) override;
    void onSkipped(const std::filesystem::path& relativePath, const char* what) override;
    void onEmptyFolder(const std::filesystem::path& relativePath) override;
    void onProblem(const std::filesystem::path& relativePath, const String& reason) override;

    CContext& m_context;
    String m_bucket;
    String m_prefix;
    std::filesystem::path m_folder;
    CProgress m_progress;
    CTransferQueue* m_queue = nullptr;  // while run() runs
    int64 m_skipped = 0;
    int64 m_emptyFolders = 0;
    int64 m_failures = 0;
};

}  // namespace vexil::app
