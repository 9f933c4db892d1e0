#pragma once

#include "vexil/ftp/FTPDirEntry.h"

namespace vexil::app {

/// An entry in a line for people: type ("file", "dir", "-" for others), size in bytes ("-" for what is no file), time
/// of the last change in UTC ("-" for unknown), name.
String makeEntryLine(const CFTPDirEntry& entry);

}  // namespace vexil::app
