#include "vexil/async/SocketEngine.h"

#include "vexil/net/CURLError.h"

#include <algorithm>
#include <utility>

namespace vexil {

namespace {

// A look at all transfers costs about 1.3 thousand instructions for each of them.
constexpr std::chrono::milliseconds shortestRound{1000};
constexpr std::chrono::microseconds roundOfEach{1000};
// For transfers without a socket, of which libcurl may have forgotten one.
constexpr std::chrono::milliseconds shortestRoundOfLost{100};
constexpr std::chrono::microseconds roundOfEachOfLost{100};
constexpr int longestWaitUnwatched = 100;  // milliseconds

// Marks a socket that libcurl has told before.
char knownSocket;

bool isFTP(CURL* handle) noexcept {
    const char* scheme = nullptr;
    return curl_easy_getinfo(handle, CURLINFO_SCHEME, &scheme) == CURLE_OK && scheme &&
           (scheme[0] == 'F' || scheme[0] == 'f');
}

void check(CURLMcode code) {
    if (code != CURLM_OK) {
        throw CCURLError(code, "", "", -1, "", "", "", "");
    }
}

}  // namespace

CSocketEngine::CSocketEngine(CURLM* multi, zet::CWakeUp& wakeUp, std::function<bool(CURL* handle)> isHeld)
    : m_multi(multi), m_wakeUp(wakeUp), m_isHeld(std::move(isHeld)) {
    m_poller.watch(static_cast<curl_socket_t>(wakeUp.getDescriptor()), CURL_POLL_IN);
    check(curl_multi_setopt(multi, CURLMOPT_SOCKETFUNCTION, &CSocketEngine::onSocket));
    check(curl_multi_setopt(multi, CURLMOPT_SOCKETDATA, this));
}

CSocketEngine::~CSocketEngine() {
    curl_multi_setopt(m_multi, CURLMOPT_SOCKETFUNCTION, nullptr);
    curl_multi_setopt(m_multi, CURLMOPT_SOCKETDATA, nullptr);
}

int CSocketEngine::onSocket(CURL* handle, curl_socket_t socket, int what, void* engine,
                            void* known) noexcept {
    CSocketEngine& self = *static_cast<CSocketEngine*>(engine);
    if (what == CURL_POLL_REMOVE) {
        self.forget(handle, socket);
    } else {
        self.watch(handle, socket, what, known != nullptr);
    }
    return 0;
}

void CSocketEngine::watch(CURL* handle, curl_socket_t socket, int what, bool isKnown) noexcept {
    if (!isKnown) {
        ++m_socketCount;
        curl_multi_assign(m_multi, socket, &knownSocket);
    }
    try {
        m_companions.erase(socket);
        if (!isKnown) {
            noteSocketOf(handle);
            if (isFTP(handle)) {
                m_newestOfFTP[handle] = socket;
            }
        }
        m_poller.watch(socket, what);
    } catch (...) {
        // Then all transfers are looked at all the time, as without this engine.
        m_isEachUnwatched = true;
    }
}

void CSocketEngine::forget(CURL* handle, curl_socket_t socket) noexcept {
    --m_socketCount;
    try {
        noteLossOf(handle);
        if (keepForFTP(handle, socket)) {
            return;
        }
    } catch (...) {
        m_isEachUnwatched = true;
    }
    dropCompanionsOf(socket);
    m_poller.forget(socket);
}

void CSocketEngine::noteSocketOf(CURL* handle) {
    CSocketsOf& sockets = m_socketsOf[handle];
    m_lostCount -= std::exchange(sockets.isLost, false) ? 1 : 0;
    ++sockets.count;
}

/// With HTTP/2 another transfer may have told the socket. Then nothing is noted.
void CSocketEngine::noteLossOf(CURL* handle) {
    const auto place = m_socketsOf.find(handle);
    if (place == m_socketsOf.end() || place->second.count == 0 || --place->second.count > 0 ||
        m_isHeld(handle)) {
        return;
    }
    place->second.isLost = true;
    ++m_lostCount;
    m_isNewlyLost = true;
}

void CSocketEngine::drop(CURL* handle) noexcept {
    m_newestOfFTP.erase(handle);
    const auto place = m_socketsOf.find(handle);
    if (place != m_socketsOf.end()) {
        m_lostCount -= place->second.isLost ? 1 : 0;
        m_socketsOf.erase(place);
    }
}

/// Keeps a socket if its transfer has another one.
bool CSocketEngine::keepForFTP(CURL* handle, curl_socket_t socket) {
    const auto newest = m_newestOfFTP.find(handle);
    if (newest == m_newestOfFTP.end()) {
        return false;
    }
    if (newest->second == socket) {
        m_newestOfFTP.erase(newest);
        return false;
    }
    m_companions[socket] = newest->second;
    m_poller.watchArrivals(socket);
    return true;
}

void CSocketEngine::dropCompanionsOf(curl_socket_t socket) noexcept {
    std::erase_if(m_companions, [&](const auto& entry) {
        if (entry.second == socket) {
            m_poller.forget(entry.first);
        }
        return entry.second == socket;
    });
}

void CSocketEngine::wait(int milliseconds) noexcept {
    collect(limitWait(m_isEachUnwatched ? std::min(milliseconds, longestWaitUnwatched) : milliseconds));
    m_hasWaited = true;
}

int CSocketEngine::limitWait(int milliseconds) const {
    if (m_lostCount == 0) {
        return milliseconds;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_lastAll + getRound() - Clock::now());
    return static_cast<int>(std::clamp<std::chrono::milliseconds::rep>(left.count(), 0, milliseconds));
}

void CSocketEngine::collect(int milliseconds) noexcept {
    m_events = m_poller.wait(milliseconds);
    const bool isWoken = std::any_of(m_events.begin(), m_events.end(),
                                     [this](const auto& event) { return isWakeUp(event.socket); });
    if (isWoken) {
        m_wakeUp.clear();
    }
}

bool CSocketEngine::isWakeUp(curl_socket_t socket) const noexcept {
    return socket == static_cast<curl_socket_t>(m_wakeUp.getDescriptor());
}

CURLMcode CSocketEngine::run(int count, int* running) {
    if (!std::exchange(m_hasWaited, false)) {
        collect(0);
    }
    m_count = count;
    return isAllDue() ? runAll(running) : runEvents(running);
}

bool CSocketEngine::isAllDue() const {
    return m_isAllRequested || m_isEachUnwatched || Clock::now() - m_lastAll >= getRound();
}

/// The time between two looks at all transfers.
CSocketEngine::Clock::duration CSocketEngine::getRound() const {
    if (m_lostCount == 0) {
        return std::max<Clock::duration>(shortestRound, m_count * roundOfEach);
    }
    // At once for the next address of a host.
    const Clock::duration shortest = m_isNewlyLost ? Clock::duration::zero() : shortestRoundOfLost;
    return std::max<Clock::duration>(shortest, m_count * roundOfEachOfLost);
}

CURLMcode CSocketEngine::runAll(int* running) {
    m_isAllRequested = false;
    m_isNewlyLost = false;
    m_lastAll = Clock::now();
    // Deprecated, but no other function looks at all transfers and tells the sockets of each.
    return curl_multi_socket_all(m_multi, running);
}

CURLMcode CSocketEngine::runEvents(int* running) {
    // First those whose timers have expired, also if there is no event.
    CURLMcode code = curl_multi_socket_action(m_multi, CURL_SOCKET_TIMEOUT, 0, running);
    // An event of a socket that was closed meanwhile has no effect.
    for (const CSocketPoller::CEvent& event : m_events) {
        if (code != CURLM_OK || isWakeUp(event.socket)) {
            continue;
        }
        const auto companion = m_companions.find(event.socket);
        code = companion == m_companions.end()
                   ? curl_multi_socket_action(m_multi, event.socket, event.flags, running)
                   : curl_multi_socket_action(m_multi, companion->second, 0, running);
    }
    return code;
}

}  // namespace vexil
