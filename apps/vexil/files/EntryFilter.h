#pragma once

#include "apps/vexil/base/FileTime.h"
#include "apps/vexil/files/PathPattern.h"
#include "vexil/BaseTypes.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vexil::app {

/// Which entries of a folder a walk takes. By default all. Any thread, once it is made.
class CEntryFilter {
public:
    /// What the rules say about an entry.
    enum class Verdict {
        Undecided,  ///< no rule matches it, nor a folder that it is in
        Taken,
        LeftOut,
    };

    /// Adds a pattern of the command line. The last rule that matches wins. The path that is written like the
    /// pattern matches, too: a name with "*" is its own pattern.
    /// \param takes  what happens to an entry that matches: true to take it, false to leave it out
    /// \throws CInvalidArgError that names a wrong pattern
    void addRule(const std::string& pattern, bool takes);
    /// Adds the rules of a file with one pattern a line, as in a .gitignore file: with comments, and with "!"
    /// for the opposite.
    /// \param takes  what happens to an entry that matches a pattern without "!"
    /// \throws CInvalidArgError that names the file, and the line if a pattern is wrong
    void addRulesOf(const std::filesystem::path& file, bool takes);
    /// Leaves out files of more bytes.
    void setMaxSize(int64 bytes) { m_maxSize = bytes; }
    /// Leaves out files that were not changed after this time.
    void setChangedAfter(const CFileTime& time) { m_changedAfter = time; }
    /// Does not enter folders on another file system than the top folder. The folder itself is taken.
    void setOneFileSystem(bool isOne) { m_isOneFileSystem = isOne; }
    bool isOneFileSystem() const noexcept { return m_isOneFileSystem; }

    /// What the rules say.
    /// \param relativePath  to the top folder
    /// \param ofFolder      the verdict about the folder that the entry is in
    Verdict decide(const std::filesystem::path& relativePath, bool isFolder, Verdict ofFolder) const;
    /// Whether an entry of a verdict is taken. A folder without one is entered anyway. An entry without one
    /// is taken, unless the first call of addRule() or addRulesOf() asks to take what matches.
    bool takes(Verdict verdict) const noexcept;
    /// Whether size and time of a regular file allow it to be taken. A file whose facts cannot be read is
    /// taken, so that its error is seen.
    bool takesFile(const std::filesystem::path& file) const;

private:
    struct CRule {
        CPathPattern pattern;
        std::string literal;  // a path that matches, too; "" for none
        bool takes = false;
    };

    void addLine(std::string line, bool takes);

    std::vector<CRule> m_rules;
    std::optional<bool> m_takesAtFirst;  // what the first call that added rules has asked for
    std::optional<int64> m_maxSize;
    std::optional<CFileTime> m_changedAfter;
    bool m_isOneFileSystem = false;
};

}  // namespace vexil::app
