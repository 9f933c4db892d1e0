#include "zet/PosixSelect.h"

#include <winsock2.h>
// Must follow winsock2.h.
#include <windows.h>

namespace zet {

namespace {

constexpr int millisecondsPerSecond = 1000;
constexpr int microsecondsPerMillisecond = 1000;

bool isEmpty(const void* set) noexcept {
    return !set || static_cast<const fd_set*>(set)->fd_count == 0;
}

}  // namespace

int CPosixSelect::selectSockets(int count, void* read, void* write, void* error, int milliseconds) noexcept {
    if (isEmpty(read) && isEmpty(write) && isEmpty(error)) {
        // select() on Windows fails without sockets, instead of waiting.
        Sleep(milliseconds < 0 ? INFINITE : static_cast<DWORD>(milliseconds));
        return 0;
    }
    timeval time{milliseconds / millisecondsPerSecond,
                 milliseconds % millisecondsPerSecond * microsecondsPerMillisecond};
    return ::select(count, static_cast<fd_set*>(read), static_cast<fd_set*>(write),
                    static_cast<fd_set*>(error), milliseconds < 0 ? nullptr : &time);
}

bool CPosixSelect::canSelect(std::intptr_t) noexcept {
    // A set on Windows is a list of sockets of any number.
    return true;
}

}  // namespace zet
