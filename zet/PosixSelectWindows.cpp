#include "zet/PosixSelect.h"

#include <winsock2.h>

namespace zet {

namespace {

constexpr int millisecondsPerSecond = 1000;
constexpr int microsecondsPerMillisecond = 1000;

}  // namespace

int CPosixSelect::selectSockets(int count, void* read, void* write, void* error, int milliseconds) noexcept {
    timeval time{milliseconds / millisecondsPerSecond,
                 milliseconds % millisecondsPerSecond * microsecondsPerMillisecond};
    return ::select(count, static_cast<fd_set*>(read), static_cast<fd_set*>(write),
                    static_cast<fd_set*>(error), milliseconds < 0 ? nullptr : &time);
}

bool CPosixSelect::canSelect(std::intptr_t) noexcept {
    // A set is a list of sockets here, whatever their numbers.
    return true;
}

}  // namespace zet
