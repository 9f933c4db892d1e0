#pragma once

#include "apps/vexil/platform/Platform.h"
#include "vexil/BaseTypes.h"
#include "zet/InStream.h"

#include <filesystem>
#include <fstream>
#include <optional>

namespace vexil::app {

/// Reads a regular file, as it is when it is opened: what is appended later is not read, and a file that has
/// become shorter is an error. So is one that holds more than its size, as many do in /proc: it would pass for an empty
/// file. One thread at a time.
class CFileInStream : public virtual CBase, public zet::IInStream {
public:
    /// \throws CInvalidArgError when there is no such file or it is not a regular one, CError when it cannot
    ///         be read or the system does not tell its size
    explicit CFileInStream(const std::filesystem::path& path);
    ~CFileInStream() override;

    int read(void* buffer, int maxLength) override;
    int64 getSize() override { return m_size; }
    void seek(int64 position) override;
    int64 getPosition() override { return m_position; }

    /// Whether size or time of change are others now than when it was opened.
    bool hasChanged() const;
    /// For after a file was stored.
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
