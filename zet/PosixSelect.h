#pragma once

#include "zet/Export.h"

#include <cstdint>
#include <type_traits>

namespace zet {

/// Waits for sockets with the system's select(). Any thread.
///
/// `SocketSet` is the system's `fd_set`, which only the system's headers declare.
class ZET_API CPosixSelect {
public:
    /// Waits until a socket in one of the sets is ready. Afterwards the sets contain only the sockets that
    /// are ready.
    /// \param count  the highest descriptor plus 1; ignored on Windows
    /// \param read, write, error  sockets to read from, to write to, and to check for urgent data; null for
    ///                            none
    /// \param milliseconds  the longest wait; 0 does not wait, a negative number waits for ever
    /// \return how many sockets are ready; 0 after the time; -1 after a failure or a signal
    template <class SocketSet>
    static int select(int count, SocketSet* read, SocketSet* write, SocketSet* error, int milliseconds) {
        static_assert(std::is_trivially_copyable_v<SocketSet>);
        return selectSockets(count, read, write, error, milliseconds);
    }

    /// True if a set can contain the descriptor: below FD_SETSIZE on Linux, always on Windows.
    [[nodiscard]] static bool canSelect(std::intptr_t descriptor) noexcept;

private:
    // In the file of the platform.
    static int selectSockets(int count, void* read, void* write, void* error, int milliseconds) noexcept;
};

}  // namespace zet
