/// \file
/// Between the paths of files below a folder and the keys of objects.
#pragma once

#include "vexil/BaseTypes.h"

#include <filesystem>

namespace vexil::app {

/// A prefix as that of a folder: empty, or with "/" at its end.
String makeFolderPrefix(const String& prefix);

/// The key of a file: prefix and path, with "/" on every system.
/// \param relativePath  below the folder that is backed up
/// \throws CError when no key can be made
String makeObjectKey(const String& prefix, const std::filesystem::path& relativePath);

/// Why a key does not come back as it was from a listing that is not encoded; "" for one that does.
String findListingProblem(const String& key);

/// The way back: where the object belongs, below the folder to restore to.
/// \param key  begins with the prefix
/// \throws CError naming the key when the path would lead out of the folder, or cannot be a file's
std::filesystem::path makeRelativePath(const String& prefix, const String& key);

}  // namespace vexil::app
