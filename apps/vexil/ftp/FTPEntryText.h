#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/ftp/FTPDirEntry.h"

#include <string>

namespace vexil::app {

/// One line for an entry: type ("file", "dir", "-" for others), size in bytes ("-" if it is not a file), time
/// of the last change in UTC ("-" if unknown), name.
String makeEntryLine(const CFTPDirEntry& entry);

/// An entry of an FTP directory that no command can name, because its name in the listing is not UTF-8 or
/// contains a line end.
struct FTPUnreadableEntry {
    /// \param line  one of CFTPListDirResult::getUnreadableLines()
    explicit FTPUnreadableEntry(const std::string& line);

    String name;     ///< for display: bytes that cannot be shown are escaped
    String problem;  ///< why it cannot be read, as the end of a sentence
};

}  // namespace vexil::app
