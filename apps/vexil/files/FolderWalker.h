#pragma once

#include "apps/vexil/files/EntryFilter.h"
#include "vexil/BaseTypes.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vexil::app {

/// Receives the entries of a walk through a folder. All paths are relative to that folder.
class IFolderVisitor {
public:
    virtual ~IFolderVisitor();

    virtual void onFile(const std::filesystem::path& relativePath) = 0;
    /// An entry that is neither file nor folder.
    /// \param what  "a link" and the like
    virtual void onSkipped(const std::filesystem::path& relativePath, const char* what) = 0;
    /// A part (PartName.h) of a file.
    virtual void onPart(const std::filesystem::path& relativePath) = 0;
    virtual void onEmptyFolder(const std::filesystem::path& relativePath) = 0;
    /// Each folder below the first one, before what is in it. Does nothing by default.
    virtual void onFolder(const std::filesystem::path& /*relativePath*/) {}
    /// An entry that cannot be examined; the walk continues with the next one.
    virtual void onProblem(const std::filesystem::path& relativePath, const String& reason) = 0;
};

/// Walks through a folder and everything below it, in the order of the names. Does not follow links.
class CFolderWalker {
public:
    /// \param excluded  paths relative to the folder, of files and folders to leave out
    /// \throws CInvalidArgError if the folder does not exist
    explicit CFolderWalker(const std::filesystem::path& folder,
                           const std::vector<std::string>& excluded = {});
    /// \param filter  the entries to take
    /// \throws CInvalidArgError if the folder does not exist
    CFolderWalker(const std::filesystem::path& folder, const CEntryFilter& filter);

    const std::filesystem::path& getFolder() const noexcept { return m_folder; }

    void walk(IFolderVisitor& visitor) const;

    /// The type that a walk finds for a path: a regular file, a directory, or neither. "Neither" also stands
    /// for an entry that is excluded, does not exist, or is below a link.
    std::filesystem::file_type findType(const std::filesystem::path& relativePath) const;
    /// Whether a walk would leave out a file of this path because of the path alone. The file need not exist.
    bool leavesOut(const std::filesystem::path& relativePath) const;

private:
    class CWalk;

    bool isExcluded(const std::filesystem::path& relativePath) const;
    bool isOutside(const std::filesystem::path& relativePath) const;

    std::filesystem::path m_folder;
    std::vector<std::filesystem::path> m_excluded;
    CEntryFilter m_filter;
    std::optional<int64> m_fileSystem;  // set if all entries must be on it
};

}  // namespace vexil::app
