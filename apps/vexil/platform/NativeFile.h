#pragma once

#include "vexil/BaseTypes.h"

#include <cstddef>
#include <filesystem>

namespace vexil::app {

/// Who may read a new file.
enum class FileAccess {
    Usual,      ///< as the user's settings (umask) say
    OwnerOnly,  ///< its owner, where the system has such rights
};

/// A file of the system without any buffer: every write has gone to the system when it returns. All functions that return
/// an int return 0 or the `errno` value of a failure. One thread at a time.
class CNativeFile {
public:
    CNativeFile() = default;
    /// Closes it.
    ~CNativeFile();
    CNativeFile(const CNativeFile&) = delete;
    CNativeFile& operator=(const CNativeFile&) = delete;

    /// Opens a file or device for writing. A file is made, or emptied. Follows links.
    int open(const std::filesystem::path& path);
    /// Makes a new file. Fails if anything has the name, also a link. Until it is closed, openLeft() of no process opens
    /// it.
    int create(const std::filesystem::path& path, FileAccess access);
    /// Opens a regular file of this user that no process keeps open by create() or openLeft(), and that has no other
    /// name. Does not follow links. It stands at its beginning.
    int openLeft(const std::filesystem::path& path);

    bool isOpen() const noexcept { return m_descriptor >= 0; }
    /// \param count  set to how much was read; 0 at the end of the file
    int read(void* data, std::size_t size, std::size_t& count);
    int write(const void* data, std::size_t size);
    int seek(int64 position);
    int truncate(int64 size);
    int getSize(int64& size) const;
    /// Some systems report a full disk only here.
    int close();
    /// Renames an open file over what has the new name, and closes it.
    /// \return also what close() would return; the file has its old name then
    int renameAndClose(const std::filesystem::path& path, const std::filesystem::path& target);
    /// Deletes an open file, and closes it.
    int removeAndClose(const std::filesystem::path& path);

private:
    int m_descriptor = -1;
};

}  // namespace vexil::app
