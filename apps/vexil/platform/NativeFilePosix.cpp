#include "apps/vexil/platform/NativeFile.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace vexil::app {

namespace {

constexpr mode_t everyone = S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;
constexpr mode_t owner = S_IRUSR | S_IWUSR;

int toError(int result) {
    return result < 0 ? errno : 0;
}

/// Fails if another process has locked the file. A file system without locks fails, too.
int lock(int descriptor) {
    return toError(flock(descriptor, LOCK_EX | LOCK_NB));
}

/// Whether the name still leads to the file: another process may have deleted the file before it was locked.
bool isCalled(int descriptor, const std::filesystem::path& path) {
    struct stat file = {};
    struct stat named = {};
    return fstat(descriptor, &file) == 0 && lstat(path.c_str(), &named) == 0 && file.st_dev == named.st_dev &&
           file.st_ino == named.st_ino;
}

/// Whether create() may have made the file. A file with a second name could belong to somebody else.
bool isOwnFile(int descriptor) {
    struct stat file = {};
    return fstat(descriptor, &file) == 0 && S_ISREG(file.st_mode) && file.st_nlink == 1 &&
           file.st_uid == geteuid();
}

}  // namespace

CNativeFile::~CNativeFile() {
    close();
}

int CNativeFile::open(const std::filesystem::path& path) {
    close();
    m_descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, everyone);
    return toError(m_descriptor);
}

int CNativeFile::create(const std::filesystem::path& path, FileAccess access) {
    close();
    const mode_t mode = access == FileAccess::OwnerOnly ? owner : everyone;
    m_descriptor = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
    if (m_descriptor < 0) {
        return errno;
    }
    // Another program that looks for parts may have been faster.
    if (lock(m_descriptor) == EWOULDBLOCK || !isCalled(m_descriptor, path)) {
        close();
        return EEXIST;
    }
    return 0;
}

int CNativeFile::openLeft(const std::filesystem::path& path) {
    close();
    // Without O_NONBLOCK, opening a pipe would wait.
    m_descriptor = ::open(path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (m_descriptor < 0) {
        return errno;
    }
    int failure = isOwnFile(m_descriptor) ? lock(m_descriptor) : EPERM;
    if (!failure && !isCalled(m_descriptor, path)) {
        failure = ENOENT;
    }
    if (failure) {
        close();
    }
    return failure;
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
    return lseek(m_descriptor, position, SEEK_SET) == position ? 0 : errno;
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

int CNativeFile::renameAndClose(const std::filesystem::path& path, const std::filesystem::path& target) {
    // Closing a copy reports the same errors as closing the file. The file stays locked until it has its
    // name.
    const int copy = fcntl(m_descriptor, F_DUPFD_CLOEXEC, 0);
    int failure = copy < 0 ? errno : toError(::close(copy));
    if (!failure) {
        failure = toError(std::rename(path.c_str(), target.c_str()));
    }
    close();
    return failure;
}

int CNativeFile::removeAndClose(const std::filesystem::path& path) {
    const int failure = toError(unlink(path.c_str()));
    close();
    return failure;
}

}  // namespace vexil::app
