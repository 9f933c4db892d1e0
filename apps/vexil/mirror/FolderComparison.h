#pragma once

#include "apps/vexil/files/FolderWalker.h"
#include "vexil/BaseTypes.h"

#include <filesystem>
#include <vector>

namespace vexil::app {

/// Compares files byte for byte.
class CFileComparer {
public:
    CFileComparer();

    /// The first difference of two regular files, "" if they are equal.
    /// \throws CError if one of them cannot be read
    String findDifference(const std::filesystem::path& first, const std::filesystem::path& second);

private:
    std::vector<char> m_firstBlock;
    std::vector<char> m_secondBlock;
};

class CConsole;
class CProgress;

/// Compares the regular files of two folders in both directions: a file that only one of them has is a
/// difference. Links, special files and empty folders are ignored. Differences are printed at once.
class CFolderComparison {
public:
    /// Console and progress must outlive it.
    CFolderComparison(CConsole& console, CProgress& progress, const CFolderWalker& first,
                      const CFolderWalker& second);

    void run();

    /// The number of differences, and of files that could not be compared.
    int64 getDifferenceCount() const noexcept { return m_differences; }

private:
    class CFirstVisitor;
    class CSecondVisitor;

    void compare(const std::filesystem::path& relativePath);
    void report(const std::filesystem::path& relativePath, const String& what);

    CConsole& m_console;
    CProgress& m_progress;
    const CFolderWalker& m_first;
    const CFolderWalker& m_second;
    CFileComparer m_comparer;
    int64 m_differences = 0;
};

}  // namespace vexil::app
