#include "apps/vexil/files/PartFile.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/files/PartName.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <vector>

namespace vexil::app {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t blockSize = 1 << 18;

// On all usual file systems a name has at most 255 units: bytes on Linux, UTF-16 on Windows.
constexpr std::size_t maxNameLength = 255;
constexpr int maxNames = 100;

[[noreturn]] void throwCannotCreate(const fs::path& target, int systemError) {
    throw CError("Cannot create the file '" + describe(target) + "': " + describeSystemError(systemError),
                 "system", systemError);
}

}  // namespace

void CPartStream::keep(int64 size, const std::function<void(const void* data, int length)>& onBlock) {
    seek(0);
    std::vector<char> block(blockSize);
    while (getPosition() < size) {
        const int length = readBlock(block.data(), std::min<int64>(size - getPosition(), blockSize));
        onBlock(block.data(), length);
        setPositionAndSize(getPosition() + length, getSize());
    }
    check("Cannot write", getFile().truncate(size));
    setPositionAndSize(getPosition(), size);
}

int CPartStream::readBlock(char* block, int64 wanted) {
    std::size_t count = 0;
    check("Cannot read", getFile().read(block, static_cast<std::size_t>(wanted), count));
    if (count == 0) {
        throw CError("The file '" + describe(getName()) + "' became shorter while it was read.", "system");
    }
    return static_cast<int>(count);
}

CPartFile::CPartFile(const fs::path& target, FileAccess access, const String& content)
    : m_target(target), m_file(std::make_shared<CLockedFile>()) {
    std::error_code failure;
    const fs::file_status status = fs::status(target, failure);
    if (fs::is_directory(status)) {
        throw CError("Cannot create the file '" + describe(target) + "': a folder has this name", "system");
    }
    // The name of the part is shorter. Windows reports a name that is too long only when a file is created.
    if (failure == std::errc::filename_too_long || target.filename().native().size() > maxNameLength) {
        throwCannotCreate(target, ENAMETOOLONG);
    }
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        m_stream = new CPartStream(target, target);
        return;
    }
    create(access, content);
}

void CPartFile::create(FileAccess access, const String& content) {
    const auto makePath = [this](const String& digits) {
        return m_target.parent_path() / makePartName(m_target, digits);
    };
    fs::path part = makePath(content.isEmpty() ? makeRandomDigits() : makeDigitsFor(content));
    if (!content.isEmpty() && takeOver(part)) {
        return;
    }
    int failure = m_file->create(part, access);
    for (int i = 1; failure == EEXIST && i < maxNames; ++i) {
        part = makePath(makeRandomDigits());
        failure = m_file->create(part, access);
    }
    if (failure) {
        throwCannotCreate(m_target, failure);
    }
    m_part = part;
    m_stream = new CPartStream(m_file, 0, m_target);
}

bool CPartFile::takeOver(const fs::path& part) {
    int64 size = 0;
    if (m_file->openLeft(part) != 0 || m_file->getSize(size) != 0) {
        return false;
    }
    m_part = part;
    m_stream = new CPartStream(m_file, size, m_target);
    return true;
}

CPartFile::~CPartFile() {
    if (!m_part.empty()) {
        // The error that matters is already being thrown.
        m_file->removeAndClose(m_part);
    }
}

void CPartFile::commit() {
    if (m_part.empty()) {
        m_stream->close();
        return;
    }
    if (const int failure = m_file->renameAndClose(m_part, m_target)) {
        throwCannotCreate(m_target, failure);
    }
    m_part.clear();
}

}  // namespace vexil::app
