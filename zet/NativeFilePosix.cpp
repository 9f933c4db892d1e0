#include "zet/NativeFile.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace zet {

namespace {

static_assert(sizeof(off_t) >= sizeof(int64), "files may be larger than 2 GiB");

constexpr mode_t everyone = S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;

int toError(int result) {
    return result < 0 ? errno : 0;
}

}  // namespace

CNativeFile::~CNativeFile() {
    close();
}

int CNativeFile::openForReading(const std::filesystem::path& path) {
    close();
    m_descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    return toError(m_descriptor);
}

int CNativeFile::openForWriting(const std::filesystem::path& path) {
    close();
    m_descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, everyone);
    return toError(m_descriptor);
}

int CNativeFile::read(void* data, std::size_t size, std::size_t& count) {
    ssize_t result = 0;
    do {
        result = ::read(m_descriptor, data, size);
    } while (result < 0 && errno == EINTR);
    count = result > 0 ? static_cast<std::size_t>(result) : 0;
    return result < 0 ? errno : 0;
}

int CNativeFile::write(const void* data, std::size_t size) {
    const char* next = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t count = ::write(m_descriptor, next, size);
        if (count < 0 && errno != EINTR) {
            return errno;
        }
        const auto written = static_cast<std::size_t>(count > 0 ? count : 0);
        next += written;
        size -= written;
    }
    return 0;
}

int CNativeFile::seek(int64 position) {
    // lseek() returns -1 for a failure.
    if (position < 0) {
        return EINVAL;
    }
    return lseek(m_descriptor, position, SEEK_SET) == position ? 0 : errno;
}

int CNativeFile::readAt(int64 position, void* data, std::size_t size, std::size_t& count) {
    char* const bytes = static_cast<char*>(data);
    count = 0;
    while (count < size) {
        const ssize_t result =
            ::pread(m_descriptor, bytes + count, size - count, position + static_cast<int64>(count));
        if (result < 0 && errno != EINTR) {
            count = 0;
            return errno;
        }
        if (result == 0) {
            break;
        }
        count += static_cast<std::size_t>(result > 0 ? result : 0);
    }
    return 0;
}

int CNativeFile::writeAt(int64 position, const void* data, std::size_t size) {
    const char* next = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t count = ::pwrite(m_descriptor, next, size, position);
        if (count < 0 && errno != EINTR) {
            return errno;
        }
        const auto written = static_cast<std::size_t>(count > 0 ? count : 0);
        next += written;
        position += static_cast<int64>(written);
        size -= written;
    }
    return 0;
}

int CNativeFile::flush() {
    int result = 0;
    do {
        result = ::fsync(m_descriptor);
    } while (result < 0 && errno == EINTR);
    return toError(result);
}

int CNativeFile::truncate(int64 size) {
    return toError(ftruncate(m_descriptor, size));
}

int CNativeFile::getSize(int64& size) const {
    struct stat file = {};
    const int failure = toError(fstat(m_descriptor, &file));
    size = file.st_size;
    return failure;
}

int CNativeFile::close() {
    return isOpen() ? toError(::close(std::exchange(m_descriptor, -1))) : 0;
}

}  // namespace zet
