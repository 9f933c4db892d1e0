#pragma once

#include "apps/vexil/console/Progress.h"
#include "apps/vexil/files/FolderWalker.h"
#include "apps/vexil/mirror/FolderComparison.h"
#include "apps/vexil/mirror/Store.h"
#include "apps/vexil/mirror/StoreIndex.h"

#include <map>
#include <memory>
#include <string>

namespace vexil::app {

class CSession;

/// Compares the regular files of a folder with those of a store, in both directions. Differences are printed
/// at once. By default nothing is downloaded: checksums count where the store has them, otherwise what the
/// index says of size and time.
class CStoreComparison : private IFolderVisitor {
public:
    /// Session and store must outlive it.
    /// \param downloads  whether all stored files are fetched, and compared byte for byte
    CStoreComparison(CSession& session, IStore& store, bool downloads);

    /// \throws the errors of a store that cannot be listed
    void run(const CFolderWalker& walker);

    /// The number of differences, and of files that could not be compared.
    int64 getDifferenceCount() const noexcept { return m_differences; }
    const CProgress& getProgress() const noexcept { return m_progress; }

private:
    void onFile(const std::filesystem::path& relativePath) override;
    void onSkipped(const std::filesystem::path&, const char*) override {}
    void onPart(const std::filesystem::path&) override {}
    void onEmptyFolder(const std::filesystem::path&) override {}
    void onProblem(const std::filesystem::path& relativePath, const String& reason) override;

    void listFiles();
    String findDifference(const std::filesystem::path& relativePath);
    String compareFacts(const std::filesystem::path& relativePath, const CStoreIndex::CKnown& known);
    String compareBytes(const std::filesystem::path& relativePath);
    void reportOthers(const CFolderWalker& walker);

    CSession& m_session;
    IStore& m_store;
    CStoreIndex m_index;
    const bool m_downloads;
    std::filesystem::path m_folder;
    CProgress m_progress;
    CFileComparer m_comparer;
    std::map<std::string, std::unique_ptr<IStoredFile>> m_files;  // by path, if they are downloaded
    int64 m_differences = 0;
};

}  // namespace vexil::app
