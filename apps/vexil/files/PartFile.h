#pragma once

#include "apps/vexil/files/FileOutStream.h"
#include "vexil/BaseTypes.h"

#include <filesystem>
#include <memory>

namespace vexil::app {

/// A file that comes into being whole or not at all: it is written under another name in the same folder (PartName.h) and
/// gets its own name, in place of what had it, when it is complete. Without commit() nothing is left of it, except when
/// the program is killed.
///
/// What is there and is no file (a device such as /dev/stdout, a pipe) is written directly.
class CPartFile {
public:
    /// \param content  says what the file will hold, for example its ETag. A part for the same content that a program has
    ///                 left, and that no other one uses, is taken over; its bytes are in the stream, which stands at the
    ///                 beginning. "" for a part of its own.
    /// \throws CError when the file cannot be made or a folder has its name
    explicit CPartFile(const std::filesystem::path& target, FileAccess access = FileAccess::Usual,
                       const String& content = String());
    ~CPartFile();
    CPartFile(const CPartFile&) = delete;
    CPartFile& operator=(const CPartFile&) = delete;

    const P<CFileOutStream>& getStream() const noexcept { return m_stream; }
    void commit();

private:
    bool takeOver(const std::filesystem::path& part);
    void create(FileAccess access, const String& content);

    std::filesystem::path m_target;
    std::filesystem::path m_part;  // empty where the target is written directly
    std::shared_ptr<CNativeFile> m_file;
    P<CFileOutStream> m_stream;
};

}  // namespace vexil::app
