#include "zet/LockedFile.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zet {

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

int CLockedFile::create(const std::filesystem::path& path, FileAccess access) {
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

int CLockedFile::openLeft(const std::filesystem::path& path) {
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

int CLockedFile::renameAndClose(const std::filesystem::path& path, const std::filesystem::path& target) {
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

int CLockedFile::removeAndClose(const std::filesystem::path& path) {
    const int failure = toError(unlink(path.c_str()));
    close();
    return failure;
}

}  // namespace zet
