#pragma once

#include "vexil/BaseTypes.h"

#include <string>

namespace vexil::app {

/// An entry of an FTP directory that the server lists in a way that no command can name it: its name is not UTF-8, or
/// holds the end of a line.
struct FTPUnreadableEntry {
    /// \param line  one of CFTPListDirResult::getUnreadableLines()
    explicit FTPUnreadableEntry(const std::string& line);

    String name;     ///< for people: what cannot be shown is escaped
    String problem;  ///< why it cannot be read, as the end of a sentence
};

}  // namespace vexil::app
