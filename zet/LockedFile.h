#pragma once

#include "zet/Export.h"
#include "zet/NativeFile.h"

#include <filesystem>

namespace zet {

/// Who may read a new file.
enum class FileAccess {
    Usual,      ///< as the user's settings (umask) say
    OwnerOnly,  ///< only its owner, if the system has such rights
};

/// A file for reading and writing that one process at a time has open: the part of a download, for example.
/// Functions that return an int return 0, or the `errno` value of a failure. One thread at a time.
///
/// \code
/// zet::CLockedFile file;
/// if (const int failure = file.create(".report.pdf.part", zet::FileAccess::Usual)) { ... }
/// \endcode
class ZET_API CLockedFile : public CNativeFile {
public:
    /// Creates a new file. EEXIST if the name exists, also as a link. Until the file is closed, openLeft()
    /// opens it in no process.
    [[nodiscard]] int create(const std::filesystem::path& path, FileAccess access);
    /// Opens a regular file of this user at its beginning. Fails if a process has it open by create() or
    /// openLeft(), or if the file has another name: EWOULDBLOCK if it is open, on Windows by any program that
    /// does not allow others to write. Does not follow links.
    [[nodiscard]] int openLeft(const std::filesystem::path& path);

    /// Renames an open file, replacing a file with the new name, and closes it.
    /// \return also the result of close(); the file keeps its old name then
    [[nodiscard]] int renameAndClose(const std::filesystem::path& path, const std::filesystem::path& target);
    /// Deletes an open file, and closes it.
    int removeAndClose(const std::filesystem::path& path);
};

}  // namespace zet
