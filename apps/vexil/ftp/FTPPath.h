/// \file
/// Paths on an FTP server: they begin with "/", and "/" separates the names.
#pragma once

#include "vexil/BaseTypes.h"

#include <filesystem>

namespace vexil::app {

/// The path in an argument, without "/" at its end; "/" for the root.
/// \throws CInvalidArgError if it does not begin with "/"
String makeServerPath(const std::string& argument);

/// The path of a name within a directory; the name may be a relative path with "/".
String joinServerPath(const String& directory, const String& name);
/// The directory that contains an entry; "/" for an entry of the root.
String getServerDirectory(const String& path);
/// The last part of a path.
String getServerName(const String& path);

/// All directories on the way to a path, with the path itself at the end; empty for "/".
TArray<String> getDirsDownTo(const String& path);

/// The relative path of a file in the form of the server: text with "/".
/// \throws CError if the name cannot be transferred
String makeServerName(const std::filesystem::path& relativePath);

/// Whether the name of an entry would lead out of the listed directory, or to the directory itself.
bool leadsElsewhere(const String& name);

/// Why an entry of a listing cannot be stored under its name in a local folder, as the end of a sentence; ""
/// if it can.
String findEntryNameProblem(const String& name);

}  // namespace vexil::app
