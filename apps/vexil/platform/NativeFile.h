#pragma once

#include "vexil/BaseTypes.h"

#include <cstddef>
#include <filesystem>

namespace vexil::app {

/// Who may read a new file.
enum class FileAccess {
    Usual,      ///< as the user's settings (umask) say
    OwnerOnly,  ///< only its owner, if the system has such rights
};

/// A file of the system without a buffer: when a write returns, the system has the data. Functions that
/// return an int return 0, or the `errno` value of a failure. One thread at a time.
class CNativeFile {
public:
    CNativeFile() = default;
    /// Closes the file.
    ~CNativeFile();
    CNativeFile(const CNativeFile&) = delete;
    CNativeFile& operator=(const CNativeFile&) = delete;

    /// Opens a file or device for writing. Creates the file, or empties it. Follows links.
    int open(const std::filesystem::path& path);
    /// Creates a new file. Fails if the name exists, also as a link. Until the file is closed, openLeft()
    /// opens it in no process.
    int create(const std::filesystem::path& path, FileAccess access);
    /// Opens a regular file of this user at its beginning. Fails if a process has it open by create() or
    /// openLeft(), or if the file has another name. Does not follow links.
    int openLeft(const std::filesystem::path& path);

    bool isOpen() const noexcept { return m_descriptor >= 0; }
    /// \param count  set to the number of bytes read; 0 at the end of the file
    int read(void* data, std::size_t size, std::size_t& count);
    int write(const void* data, std::size_t size);
    int seek(int64 position);
    int truncate(int64 size);
    int getSize(int64& size) const;
    /// Some systems report a full disk only here.
    int close();
    /// Renames an open file, replacing a file with the new name, and closes it.
    /// \return also the result of close(); the file keeps its old name then
    int renameAndClose(const std::filesystem::path& path, const std::filesystem::path& target);
    /// Deletes an open file, and closes it.
    int removeAndClose(const std::filesystem::path& path);

private:
    int m_descriptor = -1;
};

}  // namespace vexil::app
