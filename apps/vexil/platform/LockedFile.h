#pragma once

#include "vexil/BaseTypes.h"
#include "zet/NativeFile.h"

#include <filesystem>

namespace vexil::app {

/// Who may read a new file.
enum class FileAccess {
    Usual,      ///< as the user's settings (umask) say
    OwnerOnly,  ///< only its owner, if the system has such rights
};

/// A file that one process at a time has open. Functions that return an int return 0, or the `errno` value of
/// a failure.
class CLockedFile : public zet::CNativeFile {
public:
    /// Creates a new file. Fails if the name exists, also as a link. Until the file is closed, openLeft()
    /// opens it in no process.
    int create(const std::filesystem::path& path, FileAccess access);
    /// Opens a regular file of this user at its beginning. Fails if a process has it open by create() or
    /// openLeft(), or if the file has another name. Does not follow links.
    int openLeft(const std::filesystem::path& path);

    /// Renames an open file, replacing a file with the new name, and closes it.
    /// \return also the result of close(); the file keeps its old name then
    int renameAndClose(const std::filesystem::path& path, const std::filesystem::path& target);
    /// Deletes an open file, and closes it.
    int removeAndClose(const std::filesystem::path& path);
};

}  // namespace vexil::app
