#pragma once

#include "apps/vexil/FileOutStream.h"
#include "vexil/BaseTypes.h"

#include <filesystem>

namespace vexil::app {

/// Who may read a new file.
enum class FileAccess {
    Usual,      ///< as the user's settings (umask) say
    OwnerOnly,  ///< its owner, where the system has such rights
};

/// A file that comes into being whole or not at all: it is written under another name in the same folder
/// (".NAME.vexil-part-RANDOM") and gets its own name, in place of what had it, when it is complete. Without commit()
/// nothing is left of it.
///
/// What is there and is no file (a device such as /dev/stdout, a pipe) is written directly.
class CPartFile {
public:
    /// \throws CError when the file cannot be made or a folder has its name
    explicit CPartFile(const std::filesystem::path& target, FileAccess access = FileAccess::Usual);
    ~CPartFile();
    CPartFile(const CPartFile&) = delete;
    CPartFile& operator=(const CPartFile&) = delete;

    /// Another name for a target, without its folder, a different one at each call: ".NAME.vexil-part-" and 16 random
    /// hexadecimal digits. Of a long NAME it has the beginning.
    static std::filesystem::path makeName(const std::filesystem::path& target);
    /// Whether a part of a relative path, with "/", could be the other name of some file, upper and lower case
    /// aside.
    static bool mayBePart(const String& path);

    const P<CFileOutStream>& getStream() const noexcept { return m_stream; }
    void commit();

private:
    std::filesystem::path m_target;
    std::filesystem::path m_part;  // empty where the target is written directly
    P<CFileOutStream> m_stream;
};

}  // namespace vexil::app
