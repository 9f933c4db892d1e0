#pragma once

#include "apps/vexil/platform/NativeFile.h"
#include "vexil/BaseTypes.h"
#include "zet/OutStream.h"

#include <filesystem>
#include <functional>
#include <memory>

namespace vexil::app {

/// Writes a file from its beginning. When a write returns, the system has the data. Errors have the domain
/// "system" and the `errno` value as their code. One thread at a time.
class CFileOutStream : public virtual CBase, public zet::IOutStream {
public:
    /// Creates the file, or empties an existing one.
    /// \param name  the name of the file for errors, if it is not that of `path`
    CFileOutStream(const std::filesystem::path& path, const std::filesystem::path& name);
    /// Writes to a file that is open at its beginning and has this size.
    CFileOutStream(const std::shared_ptr<CNativeFile>& file, int64 size, const std::filesystem::path& name);
    ~CFileOutStream() override;

    void write(const void* data, int length) override;
    int64 getSize() override { return m_size; }
    void seek(int64 position) override;
    int64 getPosition() override { return m_position; }

    /// Some systems report a full disk only here.
    void close();

    /// Reuses the first bytes of the file: reads them, drops the rest, and continues after them.
    /// \param onBlock  called with each block, in order; may throw
    void keep(int64 size, const std::function<void(const void* data, int length)>& onBlock);

private:
    void check(const char* what, int systemError) const;

    std::shared_ptr<CNativeFile> m_file;
    std::filesystem::path m_name;
    int64 m_size;
    int64 m_position = 0;
};

}  // namespace vexil::app
