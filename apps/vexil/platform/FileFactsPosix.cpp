#include "apps/vexil/platform/FileFacts.h"

#include <array>
#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>

namespace vexil::app {

namespace {

constexpr mode_t modeBits = 07777;

std::error_code getLastFailure() {
    return std::error_code(errno, std::generic_category());
}

}  // namespace

CFileFacts readFileFacts(const std::filesystem::path& path, std::error_code& failure) {
    const auto now = static_cast<int64>(std::time(nullptr));
    struct stat status = {};
    if (lstat(path.c_str(), &status) != 0) {
        failure = getLastFailure();
        return {};
    }
    failure.clear();
    return {S_ISREG(status.st_mode) ? static_cast<int64>(status.st_size) : 0,
            {static_cast<int64>(status.st_mtim.tv_sec), static_cast<int>(status.st_mtim.tv_nsec)},
            static_cast<int>(status.st_mode & modeBits),
            now,
            S_ISREG(status.st_mode) && status.st_nlink > 1};
}

void setFileFacts(const std::filesystem::path& path, const std::optional<CFileTime>& time,
                  const std::optional<int>& mode, std::error_code& failure) {
    failure.clear();
    struct stat status = {};
    if (lstat(path.c_str(), &status) != 0) {
        failure = getLastFailure();
        return;
    }
    if (mode && !S_ISLNK(status.st_mode) && chmod(path.c_str(), static_cast<mode_t>(*mode) & modeBits) != 0) {
        failure = getLastFailure();
    }
    if (time) {
        std::array<timespec, 2> times{};
        times[0].tv_nsec = UTIME_OMIT;
        times[1].tv_sec = static_cast<time_t>(time->seconds);
        times[1].tv_nsec = time->nanoseconds;
        if (utimensat(AT_FDCWD, path.c_str(), times.data(), AT_SYMLINK_NOFOLLOW) != 0) {
            failure = getLastFailure();
        }
    }
}

}  // namespace vexil::app
