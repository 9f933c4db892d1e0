#include "apps/vexil/platform/NativeFile.h"

#include <cerrno>
#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>
#include <utility>
#include <windows.h>
// windows.h must be included before it.
#include <algorithm>
#include <system_error>

namespace vexil::app {

namespace {

constexpr int common = _O_BINARY | _O_NOINHERIT;
constexpr std::size_t maxBlock = 1 << 20;

int open(const std::filesystem::path& path, int flags, int sharing, int& descriptor) {
    const auto failure = _wsopen_s(&descriptor, path.c_str(), flags | common, sharing, _S_IREAD | _S_IWRITE);
    return static_cast<int>(failure);
}

int toErrorNumber(const std::error_code& failure) {
    return failure ? failure.default_error_condition().value() : 0;
}

}  // namespace

CNativeFile::~CNativeFile() {
    close();
}

int CNativeFile::open(const std::filesystem::path& path) {
    close();
    return app::open(path, _O_WRONLY | _O_CREAT | _O_TRUNC, _SH_DENYNO, m_descriptor);
}

// While the file is open, others may read it, but neither write nor delete it.
int CNativeFile::create(const std::filesystem::path& path, FileAccess) {
    close();
    return app::open(path, _O_RDWR | _O_CREAT | _O_EXCL, _SH_DENYWR, m_descriptor);
}

int CNativeFile::openLeft(const std::filesystem::path& path) {
    close();
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        return ENOENT;
    }
    if ((attributes & (FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DIRECTORY)) != 0) {
        return EPERM;
    }
    return app::open(path, _O_RDWR, _SH_DENYWR, m_descriptor);
}

int CNativeFile::read(void* data, std::size_t size, std::size_t& count) {
    const int result = _read(m_descriptor, data, static_cast<unsigned>(std::min(size, maxBlock)));
    count = result > 0 ? static_cast<std::size_t>(result) : 0;
    return result < 0 ? errno : 0;
}

int CNativeFile::write(const void* data, std::size_t size) {
    const char* next = static_cast<const char*>(data);
    while (size > 0) {
        const int count = _write(m_descriptor, next, static_cast<unsigned>(std::min(size, maxBlock)));
        if (count <= 0) {
            return count < 0 ? errno : ENOSPC;
        }
        next += count;
        size -= static_cast<std::size_t>(count);
    }
    return 0;
}

int CNativeFile::seek(int64 position) {
    return _lseeki64(m_descriptor, position, SEEK_SET) == position ? 0 : errno;
}

int CNativeFile::truncate(int64 size) {
    return static_cast<int>(_chsize_s(m_descriptor, size));
}

int CNativeFile::getSize(int64& size) const {
    size = _filelengthi64(m_descriptor);
    return size < 0 ? errno : 0;
}

int CNativeFile::close() {
    return isOpen() && _close(std::exchange(m_descriptor, -1)) < 0 ? errno : 0;
}

// Windows cannot rename or delete an open file.
int CNativeFile::renameAndClose(const std::filesystem::path& path, const std::filesystem::path& target) {
    if (const int failure = close()) {
        return failure;
    }
    std::error_code failure;
    std::filesystem::rename(path, target, failure);
    return toErrorNumber(failure);
}

int CNativeFile::removeAndClose(const std::filesystem::path& path) {
    close();
    std::error_code failure;
    std::filesystem::remove(path, failure);
    return toErrorNumber(failure);
}

}  // namespace vexil::app
