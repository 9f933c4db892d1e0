#pragma once

#include "vexil/ftp/FTPDirEntry.h"

namespace vexil::app {

/// One line for an entry: type ("file", "dir", "-" for others), size in bytes ("-" if it is not a file), time
/// of the last change in UTC ("-" if unknown), name.
String makeEntryLine(const CFTPDirEntry& entry);

}  // namespace vexil::app
