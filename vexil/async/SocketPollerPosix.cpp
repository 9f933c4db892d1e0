#include "vexil/async/SocketPoller.h"

#include <array>
#include <cerrno>
#include <sys/epoll.h>
#include <system_error>
#include <unistd.h>

namespace vexil {

namespace {

[[noreturn]] void throwSystemError(const char* what) {
    const int code = errno;
    throw CError(String(what) + ": " + String::fromUTF8Lossy(std::generic_category().message(code)), "system",
                 code);
}

}  // namespace

class CSocketPoller::CState {
public:
    CState() : m_descriptor(epoll_create1(EPOLL_CLOEXEC)) {
        if (m_descriptor < 0) {
            throwSystemError("Error creating an epoll descriptor");
        }
    }
    CState(const CState&) = delete;
    CState& operator=(const CState&) = delete;
    ~CState() { close(m_descriptor); }

    void watch(curl_socket_t socket, int what) {
        watchEvents(socket, ((what & CURL_POLL_IN) != 0 ? uint32_t{EPOLLIN} : 0u) |
                                ((what & CURL_POLL_OUT) != 0 ? uint32_t{EPOLLOUT} : 0u));
    }

    void watchArrivals(curl_socket_t socket) { watchEvents(socket, uint32_t{EPOLLIN} | uint32_t{EPOLLET}); }
    void forget(curl_socket_t socket) noexcept {
        epoll_event unused{};
        epoll_ctl(m_descriptor, EPOLL_CTL_DEL, socket, &unused);
    }

    std::span<const CEvent> wait(int milliseconds) noexcept {
        const int count =
            epoll_wait(m_descriptor, m_found.data(), static_cast<int>(m_found.size()), milliseconds);
        const std::size_t size = count < 0 ? 0 : static_cast<std::size_t>(count);
        for (std::size_t i = 0; i < size; ++i) {
            m_events[i] = {m_found[i].data.fd, readFlags(m_found[i].events)};
        }
        return std::span(m_events).first(size);
    }

private:
    void watchEvents(curl_socket_t socket, uint32_t events) {
        epoll_event event{};
        event.events = events;
        event.data.fd = socket;
        // A socket that was closed has left the set, and its number may come again.
        if (epoll_ctl(m_descriptor, EPOLL_CTL_ADD, socket, &event) != 0 &&
            (errno != EEXIST || epoll_ctl(m_descriptor, EPOLL_CTL_MOD, socket, &event) != 0)) {
            throwSystemError("Error waiting for a socket");
        }
    }

    static int readFlags(uint32_t events) {
        int flags = 0;
        flags |= (events & (EPOLLIN | EPOLLHUP)) != 0 ? CURL_CSELECT_IN : 0;
        flags |= (events & EPOLLOUT) != 0 ? CURL_CSELECT_OUT : 0;
        flags |= (events & EPOLLERR) != 0 ? CURL_CSELECT_ERR : 0;
        return flags;
    }

    const int m_descriptor;
    std::array<epoll_event, eventsAtOnce> m_found{};
    std::array<CEvent, eventsAtOnce> m_events{};
};

CSocketPoller::CSocketPoller() : m_state(std::make_unique<CState>()) {}

CSocketPoller::~CSocketPoller() = default;

void CSocketPoller::watch(curl_socket_t socket, int what) {
    m_state->watch(socket, what);
}

void CSocketPoller::watchArrivals(curl_socket_t socket) {
    m_state->watchArrivals(socket);
}

bool CSocketPoller::hasArrivals() noexcept {
    return true;
}

void CSocketPoller::forget(curl_socket_t socket) noexcept {
    m_state->forget(socket);
}

std::span<const CSocketPoller::CEvent> CSocketPoller::wait(int milliseconds) noexcept {
    return m_state->wait(milliseconds);
}

}  // namespace vexil
