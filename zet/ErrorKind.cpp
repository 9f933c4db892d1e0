#include "zet/ErrorKind.h"

#include <cerrno>

namespace zet {

ErrorKind getKindOfSystemError(int code) noexcept {
    switch (code) {
    case EINVAL:
    case EBADF:
    case ENAMETOOLONG:
        return ErrorKind::InvalidArgument;
    case ENOMEM:
        return ErrorKind::OutOfMemory;
    case ECANCELED:
        return ErrorKind::Cancelled;
    case ECONNREFUSED:
    case ECONNRESET:
    case ECONNABORTED:
    case EHOSTUNREACH:
    case ENETUNREACH:
    case EPIPE:
        return ErrorKind::Network;
    case ETIMEDOUT:
        return ErrorKind::Timeout;
    case EACCES:
    case EPERM:
    case EROFS:
        return ErrorKind::PermissionDenied;
    case ENOENT:
    case ENOTDIR:
        return ErrorKind::NotFound;
    case EEXIST:
    case ENOTEMPTY:
        return ErrorKind::Conflict;
    case ENOSPC:
    case EFBIG:
#ifdef EDQUOT  // Not every C library has it.
    case EDQUOT:
#endif
        return ErrorKind::StorageFull;
    default:
        return ErrorKind::Other;
    }
}

}  // namespace zet
