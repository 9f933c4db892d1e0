/// \file
/// Paths on an FTP server: they begin with "/", and names stand between "/".
#pragma once

#include "vexil/BaseTypes.h"

#include <filesystem>

namespace vexil::app {

/// A path as an argument gives it, without "/" at its end; "/" for the root.
/// \throws CInvalidArgError for one that does not begin with "/"
String makeServerPath(const std::string& argument);

/// A name within a directory, or a relative path with "/".
String joinServerPath(const String& directory, const String& name);
/// What holds an entry; "/" for an entry of the root.
String getServerDirectory(const String& path);
/// The last part of a path.
String getServerName(const String& path);

/// All directories that lead to a path, the path itself as the last one; none for "/".
TArray<String> getDirsDownTo(const String& path);

/// The relative path of a file, for the server: with "/", in text.
/// \throws CError when the name cannot be transferred
String makeServerName(const std::filesystem::path& relativePath);

/// Whether the name of an entry of a listing would lead out of the directory that was listed, or to itself.
bool leadsElsewhere(const String& name);

/// A path in the same directory for the time while a file is not complete, a different one at each call: see
/// PartName.h. Its digits are those of makeServerPartDigits().
String makePartPath(const String& path);

/// Why an entry of a listing cannot be stored under its name in a local folder, as the end of a sentence; "" when it
/// can.
String findEntryNameProblem(const String& name);

}  // namespace vexil::app
