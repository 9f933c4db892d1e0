#pragma once

#include <filesystem>
#include <functional>

namespace vexil::app {

/// Makes the folders that a relative path names, below a folder that exists. Never follows a link, which
/// could lead out of the folder.
/// \param replaceFile  called for a file that has the name of a folder: makes the folder in its place, or
///                     throws; null if that is an error
/// \throws CError if a folder cannot be made, or a link or a special file has its name
void makeFoldersBelow(const std::filesystem::path& folder, const std::filesystem::path& relativePath,
                      const std::function<void(const std::filesystem::path& file)>& replaceFile = nullptr);

}  // namespace vexil::app
