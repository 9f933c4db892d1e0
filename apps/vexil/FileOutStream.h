#pragma once

#include "vexil/BaseTypes.h"
#include "zet/OutStream.h"

#include <filesystem>
#include <fstream>

namespace vexil::app {

/// Writes a file, from its beginning. Every write has gone to the system when it returns. Errors have the
/// domain "system" and the `errno` value as their code. One thread at a time.
class CFileOutStream : public virtual CBase, public zet::IOutStream {
public:
    /// Makes the file, or empties the one that is there.
    /// \param name  the file's name for the errors, where it is not that of `path`
    CFileOutStream(const std::filesystem::path& path, const std::filesystem::path& name);
    ~CFileOutStream() override;

    void write(const void* data, int length) override;
    int64 getSize() override { return m_size; }
    void seek(int64 position) override;
    int64 getPosition() override { return m_position; }

    /// Some systems report a full disk only here.
    void close();

private:
    [[noreturn]] void fail(const char* what, int systemError) const;

    std::filesystem::path m_name;
    std::filebuf m_file;
    int64 m_size = 0;
    int64 m_position = 0;
};

}  // namespace vexil::app
