#pragma once

#include "zet/InStream.h"
#include "zet/NativeFile.h"

#include <filesystem>
#include <optional>

namespace zet {

/// Reads a regular file with the size that it has when it is opened. Bytes that are appended later are not
/// read. A file that becomes shorter is an error. So is a file that contains more than its size, as many in
/// /proc do: it would be read as an empty file. A file that gets another file's name is read to its end:
/// hasChanged() tells it. One thread at a time.
///
/// Errors of the system are a CError with the domain "system" and the `errno` value as its code.
///
/// \code
/// P<zet::CFileInStream> file = new zet::CFileInStream("report.pdf");
/// client.putObject(request, "bucket", "report.pdf", file, file->getSize(), "application/pdf");
/// file->checkUnchanged();
/// \endcode
class ZET_API CFileInStream : public virtual CBase, public IInStream {
public:
    /// Opens the file.
    /// \throws CInvalidArgError if the file does not exist or is not a regular file, CError if it cannot be
    ///         read or the system does not report its size
    explicit CFileInStream(const std::filesystem::path& path);
    ~CFileInStream() override;

    /// \throws CError if the file has become shorter, or cannot be read
    [[nodiscard]] int read(void* buffer, int maxLength) override;
    int64 getSize() override { return m_size; }
    /// \throws CError for a position that is negative or greater than the size
    void seek(int64 position) override;
    int64 getPosition() override { return m_position; }

    /// True if the file of this name has another size or time of change than at opening, or does not exist.
    [[nodiscard]] bool hasChanged() const;
    /// For a check after a file was stored.
    /// \throws CError if it has changed
    void checkUnchanged() const;

private:
    /// In units of the system: the year of a file may be outside the range of the C++ clocks.
    struct CChangeTime {
        int64 high;
        int64 low;
        bool operator==(const CChangeTime&) const = default;
    };
    static std::optional<CChangeTime> findChangeTime(const std::filesystem::path& path);

    void open();
    void measure();
    void check(const char* what, int systemError) const;

    std::filesystem::path m_path;
    CNativeFile m_file;
    int64 m_size = 0;
    int64 m_position = 0;
    std::optional<CChangeTime> m_changeTime;
};

}  // namespace zet
