#pragma once

#include "zet/Export.h"

#include <cstdint>
#include <type_traits>

namespace zet {

/// Waiting for sockets by the system's select(). Any thread.
///
/// `SocketSet` is the system's `fd_set`, which only the system's own headers can name.
class ZET_API CPosixSelect {
public:
    /// Waits until a socket of a set is ready, at most so many milliseconds (0: only looks; negative: for ever),
    /// and leaves the ready ones in the sets.
    /// \param count  the highest descriptor plus 1; Windows does not need it
    /// \param read, write, error  sockets to read from, to write to, with urgent data; null for none
    /// \return how many are ready, 0 after the time, -1 for a failure or a signal that came between
    template <class SocketSet>
    static int select(int count, SocketSet* read, SocketSet* write, SocketSet* error, int milliseconds) {
        static_assert(std::is_trivially_copyable_v<SocketSet>);
        return selectSockets(count, read, write, error, milliseconds);
    }

    /// Whether a descriptor may be put into a set: below FD_SETSIZE where that is the highest, as on Linux.
    static bool canSelect(std::intptr_t descriptor) noexcept;

private:
    // In the file of the platform.
    static int selectSockets(int count, void* read, void* write, void* error, int milliseconds) noexcept;
};

}  // namespace zet
