#pragma once

#include "vexil/BaseTypes.h"

#include <curl/curl.h>

#include <cstddef>
#include <memory>
#include <span>

namespace vexil {

/// Waits for events on many sockets at once. Sockets without events cost nothing on Linux (epoll), and little
/// on Windows (WSAPoll).
///
/// Thread safety: one thread at a time.
class CSocketPoller {
public:
    /// What has happened on a socket.
    struct CEvent {
        curl_socket_t socket;
        int flags;  ///< CURL_CSELECT_IN, CURL_CSELECT_OUT and CURL_CSELECT_ERR
    };

    /// \throws CError of domain "system" if the system has no descriptor for it
    CSocketPoller();
    CSocketPoller(const CSocketPoller&) = delete;
    CSocketPoller& operator=(const CSocketPoller&) = delete;
    ~CSocketPoller();

    /// Waits for these events of a socket from now on, instead of earlier ones.
    /// \param what  CURL_POLL_IN, CURL_POLL_OUT or CURL_POLL_INOUT
    /// \throws std::exception if the system cannot watch it
    void watch(curl_socket_t socket, int what);
    /// The same for bytes that come from now on: each time some come there is one event, also if earlier ones
    /// are not read. Windows has no such events: there the socket is forgotten.
    void watchArrivals(curl_socket_t socket);
    /// Whether there are such events.
    static bool hasArrivals() noexcept;
    /// No effect for a socket that is not watched, or was closed meanwhile.
    void forget(curl_socket_t socket) noexcept;
    /// Waits for events, until a time has passed or a signal comes. An event that still stands, or does not
    /// fit in, is returned by the next call again.
    /// \param milliseconds  0 does not wait; not negative
    /// \return at most 256 events; valid until the next call
    std::span<const CEvent> wait(int milliseconds) noexcept;

private:
    static constexpr std::size_t eventsAtOnce = 256;

    class CState;

    const std::unique_ptr<CState> m_state;
};

}  // namespace vexil
