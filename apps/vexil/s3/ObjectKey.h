/// \file
/// Conversions between paths of files below a folder and keys of objects.
#pragma once

#include "vexil/BaseTypes.h"

#include <filesystem>

namespace vexil::app {

/// A prefix in the form of a folder: empty, or with "/" at its end.
String makeFolderPrefix(const String& prefix);

/// The key of a file: prefix and path, with "/" on every system.
/// \param relativePath  path below the folder of the backup
/// \throws CError if the path cannot become a key
String makeObjectKey(const String& prefix, const std::filesystem::path& relativePath);

/// Why a listing without encoding does not return this key unchanged; "" if it does.
String findListingProblem(const String& key);

/// The reverse: the path of the object below the folder of the restore.
/// \param key  begins with the prefix
/// \throws CError that names the key if the path would lead out of the folder, or cannot be the path of a
///         file
std::filesystem::path makeRelativePath(const String& prefix, const String& key);

}  // namespace vexil::app
