#pragma once

#include "apps/vexil/platform/Platform.h"
#include "vexil/BaseTypes.h"
#include "zet/InStream.h"

#include <filesystem>
#include <fstream>
#include <optional>

namespace vexil::app {

/// Reads a regular file with the size that it has when it is opened. Bytes that are appended later are not
/// read. A file that becomes shorter is an error. So is a file that contains more than its size, as many in
/// /proc do: it would be read as an empty file. One thread at a time.
class CFileInStream : public virtual CBase, public zet::IInStream {
public:
    /// \throws CInvalidArgError if the file does not exist or is not a regular file, CError if it cannot be
    ///         read or the system does not report its size
    explicit CFileInStream(const std::filesystem::path& path);
    ~CFileInStream() override;

    int read(void* buffer, int maxLength) override;
    int64 getSize() override { return m_size; }
    void seek(int64 position) override;
    int64 getPosition() override { return m_position; }

    /// Whether size or time of change are different from those at opening.
    bool hasChanged() const;
    /// For a check after a file was stored.
    /// \throws CError if it has changed
    void checkUnchanged() const;

private:
    std::streamsize readBytes(void* buffer, std::streamsize wanted);
    [[noreturn]] void fail(const char* what, int systemError) const;

    std::filesystem::path m_path;
    std::filebuf m_file;
    int64 m_size = 0;
    int64 m_position = 0;
    std::optional<FileTime> m_time;
};

}  // namespace vexil::app
