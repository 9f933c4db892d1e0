#include "zet/LockedFile.h"

#include <cerrno>
#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <windows.h>
// windows.h must be included before it.
#include <algorithm>
#include <system_error>

namespace zet {

namespace {

constexpr int common = _O_BINARY | _O_NOINHERIT;

int open(const std::filesystem::path& path, int flags, int sharing, int& descriptor) {
    const auto failure = _wsopen_s(&descriptor, path.c_str(), flags | common, sharing, _S_IREAD | _S_IWRITE);
    return static_cast<int>(failure);
}

/// The C library has the same number for a file that is open and for one without permission.
bool isSharingViolation() {
    return _doserrno == ERROR_SHARING_VIOLATION;
}

int toErrorNumber(const std::error_code& failure) {
    return failure ? failure.default_error_condition().value() : 0;
}

}  // namespace

// While the file is open, others may read it, but neither write nor delete it.
int CLockedFile::create(const std::filesystem::path& path, FileAccess) {
    close();
    return zet::open(path, _O_RDWR | _O_CREAT | _O_EXCL, _SH_DENYWR, m_descriptor);
}

int CLockedFile::openLeft(const std::filesystem::path& path) {
    close();
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        return ENOENT;
    }
    if ((attributes & (FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DIRECTORY)) != 0) {
        return EPERM;
    }
    const int failure = zet::open(path, _O_RDWR, _SH_DENYWR, m_descriptor);
    return failure == EACCES && isSharingViolation() ? EWOULDBLOCK : failure;
}

// Windows cannot rename or delete an open file.
int CLockedFile::renameAndClose(const std::filesystem::path& path, const std::filesystem::path& target) {
    if (const int failure = close()) {
        return failure;
    }
    std::error_code failure;
    std::filesystem::rename(path, target, failure);
    return toErrorNumber(failure);
}

int CLockedFile::removeAndClose(const std::filesystem::path& path) {
    close();
    std::error_code failure;
    std::filesystem::remove(path, failure);
    return toErrorNumber(failure);
}

}  // namespace zet
