#pragma once

#include "zet/NativeFile.h"
#include "zet/OutStream.h"

#include <filesystem>
#include <memory>

namespace zet {

/// Writes a file from its beginning. When a write returns, the system has the data, but not necessarily the
/// disk. Call close() at the end: only then is it certain that no write has failed. One thread at a time.
///
/// Errors of the system are a CError with the domain "system" and the `errno` value as its code: ENOSPC for a
/// full disk. A file that could not be written completely stays.
///
/// \code
/// P<zet::CFileOutStream> file = new zet::CFileOutStream("report.pdf");
/// client.getObject(request, "bucket", "report.pdf", 0, -1, file);
/// file->close();
/// \endcode
class ZET_API CFileOutStream : public virtual CBase, public IOutStream {
public:
    /// Creates the file, or empties an existing one. Also for devices and pipes; opening a pipe waits for a
    /// reader.
    /// \throws CError if that fails
    explicit CFileOutStream(const std::filesystem::path& path);
    /// The same with another name of the file in errors.
    CFileOutStream(const std::filesystem::path& path, const std::filesystem::path& name);
    /// Writes to a file that is open for writing, at its beginning, and shares it.
    /// \param file  must not be null
    /// \param size  bytes that are in the file
    /// \param name  the name of the file in errors
    CFileOutStream(const std::shared_ptr<CNativeFile>& file, int64 size, const std::filesystem::path& name);
    /// Closes the file if nobody shares it. Errors of that are lost: call close() first.
    ~CFileOutStream() override;

    /// Overwrites from the position on, and lengthens the file as needed. A length below 1 writes nothing.
    /// After a failure the position is unchanged, but bytes after it may be overwritten.
    void write(const void* data, int length) override;
    using IOutStream::write;
    int64 getSize() override { return m_size; }
    /// Also beyond the end: a later write leaves zero bytes in between.
    /// \throws CError for a negative position, and for pipes
    void seek(int64 position) override;
    int64 getPosition() override { return m_position; }

    /// Closes the file. Some systems report a full disk only here. If it fails, every later call fails in the
    /// same way; otherwise a later call does nothing. Other members must not be called afterwards: writing
    /// fails with EBADF.
    void close();

protected:
    /// Throws the CError for an `errno` value other than 0.
    /// \param what  what failed: "Cannot write"
    void check(const char* what, int systemError) const;

    /// The file that is written.
    [[nodiscard]] CNativeFile& getFile() const noexcept { return *m_file; }
    /// The name of the file in errors.
    [[nodiscard]] const std::filesystem::path& getName() const noexcept { return m_name; }
    /// Sets position and size after a derived class has changed those of the file.
    void setPositionAndSize(int64 position, int64 size) noexcept;

private:
    std::shared_ptr<CNativeFile> m_file;
    std::filesystem::path m_name;
    int64 m_size;
    int64 m_position = 0;
    int m_closeError = 0;
};

}  // namespace zet
