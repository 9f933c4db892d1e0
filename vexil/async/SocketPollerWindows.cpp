#include "vexil/async/SocketPoller.h"

#include <array>
#include <unordered_map>
#include <windows.h>
#include <winsock2.h>

namespace vexil {

class CSocketPoller::CState {
public:
    void watch(curl_socket_t socket, int what) {
        const auto [place, isNew] = m_places.try_emplace(socket, m_sockets.size());
        if (isNew) {
            try {
                m_sockets.push_back({socket, 0, 0});
            } catch (...) {
                m_places.erase(place);
                throw;
            }
        }
        m_sockets[place->second].events = static_cast<SHORT>(((what & CURL_POLL_IN) != 0 ? POLLRDNORM : 0) |
                                                             ((what & CURL_POLL_OUT) != 0 ? POLLWRNORM : 0));
    }

    void forget(curl_socket_t socket) noexcept {
        const auto place = m_places.find(socket);
        if (place == m_places.end()) {
            return;
        }
        // The last one takes its place.
        const std::size_t index = place->second;
        m_places.erase(place);
        if (index + 1 < m_sockets.size()) {
            m_sockets[index] = m_sockets.back();
            m_places.find(m_sockets[index].fd)->second = index;
        }
        m_sockets.pop_back();
    }

    std::span<const CEvent> wait(int milliseconds) noexcept {
        if (m_sockets.empty()) {
            Sleep(static_cast<DWORD>(milliseconds));  // WSAPoll refuses to wait for nothing
            return {};
        }
        if (WSAPoll(m_sockets.data(), static_cast<ULONG>(m_sockets.size()), milliseconds) <= 0) {
            return {};
        }
        // Begins with another socket each time, so that each has its turn.
        const std::size_t start = m_nextStart++ % m_sockets.size();
        std::size_t count = 0;
        for (std::size_t i = 0; i < m_sockets.size() && count < m_events.size(); ++i) {
            const WSAPOLLFD& socket = m_sockets[(start + i) % m_sockets.size()];
            if (socket.revents != 0) {
                m_events[count++] = {socket.fd, readFlags(socket.revents)};
            }
        }
        return std::span(m_events).first(count);
    }

private:
    static int readFlags(SHORT events) {
        int flags = 0;
        flags |= (events & (POLLRDNORM | POLLHUP)) != 0 ? CURL_CSELECT_IN : 0;
        flags |= (events & POLLWRNORM) != 0 ? CURL_CSELECT_OUT : 0;
        flags |= (events & (POLLERR | POLLNVAL)) != 0 ? CURL_CSELECT_ERR : 0;
        return flags;
    }

    TArray<WSAPOLLFD> m_sockets;
    std::unordered_map<curl_socket_t, std::size_t> m_places;
    std::array<CEvent, eventsAtOnce> m_events{};
    std::size_t m_nextStart = 0;
};

CSocketPoller::CSocketPoller() : m_state(std::make_unique<CState>()) {}

CSocketPoller::~CSocketPoller() = default;

void CSocketPoller::watch(curl_socket_t socket, int what) {
    m_state->watch(socket, what);
}

void CSocketPoller::watchArrivals(curl_socket_t socket) {
    m_state->forget(socket);
}

bool CSocketPoller::hasArrivals() noexcept {
    return false;
}

void CSocketPoller::forget(curl_socket_t socket) noexcept {
    m_state->forget(socket);
}

std::span<const CSocketPoller::CEvent> CSocketPoller::wait(int milliseconds) noexcept {
    return m_state->wait(milliseconds);
}

}  // namespace vexil
