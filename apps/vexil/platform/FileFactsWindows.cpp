#include "apps/vexil/platform/FileFacts.h"

#include <windows.h>
// windows.h must be included before it.
#include <ctime>
#include <memory>

namespace vexil::app {

namespace {

// Windows counts units of 100 ns since 1601-01-01 00:00 UTC.
constexpr int64 unitsOfASecond = 10'000'000;
constexpr int nanosecondsOfAUnit = 100;
constexpr int64 secondsFrom1601To1970 = 11'644'473'600;
// The end of the year 9999.
constexpr int64 mostSeconds = 253'402'300'799;

struct CHandleCloser {
    using pointer = HANDLE;
    void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};
using Handle = std::unique_ptr<HANDLE, CHandleCloser>;

std::error_code getLastFailure() {
    return std::error_code(static_cast<int>(GetLastError()), std::system_category());
}

// Also a folder, and a link itself instead of its target.
Handle open(const std::filesystem::path& path, DWORD access) {
    const HANDLE handle =
        CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    return Handle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

CFileTime toFileTime(const FILETIME& time) {
    const int64 units =
        static_cast<int64>((static_cast<unsigned long long>(time.dwHighDateTime) << 32) | time.dwLowDateTime);
    return {units / unitsOfASecond - secondsFrom1601To1970,
            static_cast<int>(units % unitsOfASecond) * nanosecondsOfAUnit};
}

}  // namespace

CFileFacts readFileFacts(const std::filesystem::path& path, std::error_code& failure) {
    const auto now = static_cast<int64>(std::time(nullptr));
    const Handle file = open(path, FILE_READ_ATTRIBUTES);
    BY_HANDLE_FILE_INFORMATION info = {};
    if (!file || !GetFileInformationByHandle(file.get(), &info)) {
        failure = getLastFailure();
        return {};
    }
    failure.clear();
    const int64 size =
        static_cast<int64>((static_cast<unsigned long long>(info.nFileSizeHigh) << 32) | info.nFileSizeLow);
    const bool isFolder = (info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    return {isFolder ? 0 : size, toFileTime(info.ftLastWriteTime), std::nullopt, now,
            !isFolder && info.nNumberOfLinks > 1};
}

void setFileFacts(const std::filesystem::path& path, const std::optional<CFileTime>& time,
                  const std::optional<int>&, std::error_code& failure) {
    failure.clear();
    if (!time) {
        return;
    }
    if (time->seconds < -secondsFrom1601To1970 || time->seconds > mostSeconds) {
        failure = std::make_error_code(std::errc::value_too_large);
        return;
    }
    const auto units = static_cast<unsigned long long>(
        (time->seconds + secondsFrom1601To1970) * unitsOfASecond + time->nanoseconds / nanosecondsOfAUnit);
    const FILETIME written = {static_cast<DWORD>(units), static_cast<DWORD>(units >> 32)};
    const Handle file = open(path, FILE_WRITE_ATTRIBUTES);
    if (!file || !SetFileTime(file.get(), nullptr, nullptr, &written)) {
        failure = getLastFailure();
    }
}

}  // namespace vexil::app
