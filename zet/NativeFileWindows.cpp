#include "zet/NativeFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>
#include <utility>

namespace zet {

namespace {

constexpr std::size_t maxBlock = 1 << 20;

// Others may read, write and delete the file meanwhile, as far as Windows allows it.
int open(const std::filesystem::path& path, int flags, int& descriptor) {
    return static_cast<int>(_wsopen_s(&descriptor, path.c_str(), flags | _O_BINARY | _O_NOINHERIT, _SH_DENYNO,
                                      _S_IREAD | _S_IWRITE));
}

}  // namespace

CNativeFile::~CNativeFile() {
    close();
}

int CNativeFile::openForReading(const std::filesystem::path& path) {
    close();
    return zet::open(path, _O_RDONLY, m_descriptor);
}

int CNativeFile::openForWriting(const std::filesystem::path& path) {
    close();
    return zet::open(path, _O_WRONLY | _O_CREAT | _O_TRUNC, m_descriptor);
}

int CNativeFile::read(void* data, std::size_t size, std::size_t& count) {
    count = 0;
    if (!isOpen()) {
        return EBADF;
    }
    const int result = _read(m_descriptor, data, static_cast<unsigned>(std::min(size, maxBlock)));
    count = result > 0 ? static_cast<std::size_t>(result) : 0;
    return result < 0 ? errno : 0;
}

int CNativeFile::write(const void* data, std::size_t size) {
    if (!isOpen()) {
        return EBADF;
    }
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
    if (!isOpen()) {
        return EBADF;
    }
    if (position < 0) {
        return EINVAL;
    }
    return _lseeki64(m_descriptor, position, SEEK_SET) == position ? 0 : errno;
}

int CNativeFile::readAt(int64 position, void* data, std::size_t size, std::size_t& count) {
    char* const bytes = static_cast<char*>(data);
    count = 0;
    int failure = seek(position);
    std::size_t length = 1;
    while (!failure && count < size && length > 0) {
        failure = read(bytes + count, size - count, length);
        count += length;
    }
    count = failure ? 0 : count;
    return failure;
}

int CNativeFile::writeAt(int64 position, const void* data, std::size_t size) {
    const int failure = seek(position);
    return failure ? failure : write(data, size);
}

int CNativeFile::flush() {
    if (!isOpen()) {
        return EBADF;
    }
    return _commit(m_descriptor) < 0 ? errno : 0;
}

int CNativeFile::truncate(int64 size) {
    return isOpen() ? static_cast<int>(_chsize_s(m_descriptor, size)) : EBADF;
}

int CNativeFile::getSize(int64& size) const {
    size = isOpen() ? _filelengthi64(m_descriptor) : -1;
    if (!isOpen()) {
        return EBADF;
    }
    return size < 0 ? errno : 0;
}

int CNativeFile::close() {
    return isOpen() && _close(std::exchange(m_descriptor, -1)) < 0 ? errno : 0;
}

}  // namespace zet
