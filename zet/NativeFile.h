#pragma once

#include "zet/Export.h"
#include "zet/Types.h"

#include <cstddef>
#include <filesystem>

namespace zet {

/// A file of the system without a buffer: when a write returns, the system has the data. Files of any size
/// and with any name. Functions that return an int return 0, or the `errno` value of a failure; EBADF if no
/// file is open. One thread at a time.
///
/// CFileInStream and CFileOutStream are the usual way to read and write files. A derived class may open files
/// in other ways, and give them to a CFileOutStream.
class ZET_API CNativeFile {
public:
    CNativeFile() = default;
    /// Closes the file. Errors are lost: call close() first.
    ~CNativeFile();
    CNativeFile(const CNativeFile&) = delete;
    CNativeFile& operator=(const CNativeFile&) = delete;

    /// Opens a file or device for reading. Follows links.
    [[nodiscard]] int openForReading(const std::filesystem::path& path);
    /// Opens a file or device for writing. Creates the file, or empties it. Follows links.
    [[nodiscard]] int openForWriting(const std::filesystem::path& path);

    /// True between a successful opening and close().
    [[nodiscard]] bool isOpen() const noexcept { return m_descriptor >= 0; }
    /// \param count  set to the number of bytes read; 0 at the end of the file and after a failure
    [[nodiscard]] int read(void* data, std::size_t size, std::size_t& count);
    /// Writes all bytes. After a failure some may be written.
    [[nodiscard]] int write(const void* data, std::size_t size);
    /// Moves to a position in bytes from the start, also beyond the end.
    [[nodiscard]] int seek(int64 position);
    /// Reads at a position in bytes from the start. The position of read() and write() is undefined
    /// afterwards. Fewer bytes than asked for only at the end of the file.
    /// \param count  set to the number of bytes read; 0 after a failure
    [[nodiscard]] int readAt(int64 position, void* data, std::size_t size, std::size_t& count);
    /// Writes all bytes at a position in bytes from the start, also beyond the end. The position of read()
    /// and write() is undefined afterwards. After a failure some bytes may be written.
    [[nodiscard]] int writeAt(int64 position, const void* data, std::size_t size);
    /// Returns when the disk has everything that was written. Another thread may write meanwhile.
    [[nodiscard]] int flush();
    /// Makes the file this long. The position stays.
    [[nodiscard]] int truncate(int64 size);
    /// \param size  set to the number of bytes of the file
    [[nodiscard]] int getSize(int64& size) const;
    /// Closes the file, also if it fails. Some systems report a full disk only here. Without an open file it
    /// does nothing and returns 0.
    int close();

protected:
    /// The descriptor of the C library, -1 if no file is open. For derived classes that open files.
    int m_descriptor = -1;
};

}  // namespace zet
