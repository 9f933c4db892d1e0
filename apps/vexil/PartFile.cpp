#include "apps/vexil/PartFile.h"

#include "apps/vexil/Platform.h"
#include "apps/vexil/Text.h"
#include "zet/MTRand.h"

#include <cerrno>
#include <string>
#include <system_error>

namespace vexil::app {

namespace fs = std::filesystem;

namespace {

// A name has 255 units at most on all usual file systems: bytes on Linux, UTF-16 on Windows.
constexpr std::size_t maxNameLength = 255;
// In bytes on Windows, too: the part may stand on a server or a network drive, where they count. There are never more
// units of UTF-16 than bytes of UTF-8.
constexpr std::size_t maxStemBytes = 200;
// After the stem; before the random digits.
constexpr const char* partEnding = ".vexil-part";

std::string makeRandomDigits() {
    static constexpr char digits[] = "0123456789abcdef";
    const zet::CMutexLock lock(zet::CMTRand::getGlobalInstanceMutex());
    zet::uint64 number = zet::CMTRand::getGlobal()->rand64();
    std::string text(16, '0');
    for (char& digit : text) {
        digit = digits[number % 16];
        number /= 16;
    }
    return text;
}

[[noreturn]] void throwCannotCreate(const fs::path& target, int systemError) {
    throw CError("Cannot create the file '" + describe(target) + "': " + describeSystemError(systemError),
                 "system", systemError);
}

}  // namespace

CPartFile::CPartFile(const fs::path& target, FileAccess access) : m_target(target) {
    std::error_code failure;
    const fs::file_status status = fs::status(target, failure);
    if (fs::is_directory(status)) {
        throw CError("Cannot create the file '" + describe(target) + "': a folder has this name", "system");
    }
    // The other name is shorter. Windows says nothing of a name that is too long before one is to be made.
    if (failure == std::errc::filename_too_long || target.filename().native().size() > maxNameLength) {
        throwCannotCreate(target, ENAMETOOLONG);
    }
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        m_stream = new CFileOutStream(target, target);
        return;
    }
    const fs::path part = target.parent_path() / makeName(target);
    if (access == FileAccess::OwnerOnly) {
        if (const int systemError = createForOwner(part)) {
            throwCannotCreate(target, systemError);
        }
    }
    m_part = part;
    m_stream = new CFileOutStream(m_part, target);
}

fs::path CPartFile::makeName(const fs::path& target) {
    std::u8string stem = target.filename().u8string();
    if (stem.size() > maxStemBytes) {
        // Not in the middle of a character: some file systems take none of that.
        std::size_t end = maxStemBytes;
        while (end > 0 && (stem[end] & 0xC0) == 0x80) {
            --end;
        }
        stem.resize(end);
    }
    fs::path name = ".";
    name += fs::path(stem);
    name += partEnding;
    name += "-" + makeRandomDigits();
    return name;
}

bool CPartFile::mayBePart(const String& path) {
    return path.toLower().find(partEnding) != String::npos;
}

CPartFile::~CPartFile() {
    if (!m_part.empty()) {
        // Windows does not remove an open file.
        try {
            m_stream->close();
        } catch (const CError&) {
            // The error that matters is on its way already.
        }
        std::error_code ignored;
        fs::remove(m_part, ignored);
    }
}

void CPartFile::commit() {
    m_stream->close();
    if (!m_part.empty()) {
        std::error_code failure;
        fs::rename(m_part, m_target, failure);
        if (failure) {
            throwCannotCreate(m_target, failure.default_error_condition().value());
        }
        m_part.clear();
    }
}

}  // namespace vexil::app
