#pragma once

#include "vexil/BaseTypes.h"

#include <bitset>
#include <string>
#include <string_view>
#include <vector>

namespace vexil::app {

/// A pattern for paths, with the rules of a .gitignore file: "*", "?", "[a-z]" and "**"; a "/" at the
/// beginning or within it ties it to the top folder, one at the end stands for folders only; "\" takes the
/// next character as it is. Letter case counts on every system. "?" and "[a-z]" stand for one byte. Any
/// thread.
class CPathPattern {
public:
    /// \throws CInvalidArgError that names the pattern, if it cannot match anything: for example a "["
    ///         without its "]"
    explicit CPathPattern(std::string_view pattern);

    /// \param path      with "/" between its names, relative to the top folder
    /// \param isFolder  whether it is a folder
    bool matches(std::string_view path, bool isFolder) const;

private:
    enum class Kind {
        Byte,     // one byte
        AnyByte,  // one byte but "/"
        Set,      // one byte of a set, but "/"
        Bytes,    // any number of bytes but "/"
        Folders,  // any number of names, each with its "/"
        Rest,     // everything
    };
    struct CPiece {
        Kind kind = Kind::Byte;
        char byte = 0;
        std::size_t set = 0;  // in m_sets
    };
    class CReader;

    std::vector<CPiece> m_pieces;
    std::vector<std::bitset<256>> m_sets;
    bool m_isForFolders = false;
    bool m_isForNames = true;  // in any folder
};

}  // namespace vexil::app
