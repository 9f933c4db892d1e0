#pragma once

#include "vexil/BaseTypes.h"
#include "zet/FileOutStream.h"
#include "zet/LockedFile.h"

#include <filesystem>
#include <functional>
#include <memory>

namespace vexil::app {

using zet::CLockedFile;
using zet::FileAccess;

/// Writes a file that may already have the first bytes of its content.
class CPartStream : public zet::CFileOutStream {
public:
    using zet::CFileOutStream::CFileOutStream;

    /// Reuses the first bytes of the file: reads them, drops the rest, and continues after them.
    /// \param onBlock  called with each block, in order; may throw
    void keep(int64 size, const std::function<void(const void* data, int length)>& onBlock);

private:
    int readBlock(char* block, int64 wanted);
};

/// A file that appears complete or not at all. It is written under another name in the same folder
/// (PartName.h). When it is complete, it gets its own name and replaces a file of that name. Without commit()
/// nothing is left of it, unless the program is killed.
///
/// An existing target that is not a file (a device such as /dev/stdout, a pipe) is written directly.
class CPartFile {
public:
    /// \param content  identifies the content of the file, for example its ETag. A part for the same content
    ///         that a killed program has left, and that no program uses, is reused: its bytes are in the
    ///         stream, which is at the beginning. "" for a part of its own.
    /// \throws CError if the file cannot be made or a folder has its name
    explicit CPartFile(const std::filesystem::path& target, FileAccess access = FileAccess::Usual,
                       const String& content = String());
    ~CPartFile();
    CPartFile(const CPartFile&) = delete;
    CPartFile& operator=(const CPartFile&) = delete;

    const P<CPartStream>& getStream() const noexcept { return m_stream; }
    void commit();

private:
    bool takeOver(const std::filesystem::path& part);
    void create(FileAccess access, const String& content);

    std::filesystem::path m_target;
    std::filesystem::path m_part;  // empty if the target is written directly
    std::shared_ptr<CLockedFile> m_file;
    P<CPartStream> m_stream;
};

}  // namespace vexil::app
