#pragma once

#include "vexil/BaseTypes.h"

#include <filesystem>
#include <optional>

namespace vexil::app {

class CConsole;
class CFolderWalker;
class CStoreIndex;
class IStore;

/// The files of a store that a folder does not have any more: they have vanished. Files that the walk leaves
/// out are not among them, nor is the index.
class CVanishedFiles {
public:
    /// Finds them. All arguments must outlive it.
    /// \param index  has noted all files of the folder
    CVanishedFiles(CConsole& console, IStore& store, CStoreIndex& index, const CFolderWalker& walker);

    const TArray<std::filesystem::path>& getPaths() const noexcept { return m_paths; }
    /// Why they must not be removed; "" if they may be.
    /// \param limit  their number; nullopt for 1,000, and not more than half of the files in the store
    String findProblem(const std::optional<int64>& limit) const;
    /// Removes them from the store and from the index, and folders that are empty then. Names each file that
    /// cannot be removed.
    /// \return the number of files that were removed
    int64 remove();

private:
    bool mayBeThere(const std::filesystem::path& relativePath) const;
    void removeEmptyFolders();

    CConsole& m_console;
    IStore& m_store;
    CStoreIndex& m_index;
    const CFolderWalker& m_walker;
    TArray<std::filesystem::path> m_paths;
};

}  // namespace vexil::app
