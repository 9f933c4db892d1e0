#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/async/SocketPoller.h"
#include "zet/WakeUp.h"

#include <curl/curl.h>

#include <chrono>
#include <functional>
#include <span>
#include <unordered_map>

namespace vexil {

/// Drives a multi handle by curl_multi_socket_action(): only transfers with an event or a timer cost time.
///
/// libcurl tells which sockets to wait for. libcurl 7.88 forgets the control connection of FTP while TLS
/// begins on the data connection, although the server first sends the replies to further commands. The engine
/// therefore waits for both. libcurl 7.88 forgets the socket of a refused attempt to connect, too, and does
/// not say when it wants to try the next address. The engine looks for such transfers. Against further faults
/// libcurl gets all its transfers to look at now and then: every second, and less often if there are many, so
/// that this costs little.
///
/// Thread safety: one thread at a time.
class CSocketEngine {
public:
    /// From now on the multi handle may only be driven by this object, also if transfers run already.
    /// \param multi   must outlive this object
    /// \param wakeUp  ends a wait
    /// \param isHeld  whether somebody holds a transfer, and will continue it: it needs no socket
    /// \throws CError of domain "system" if the system has no descriptor for it
    CSocketEngine(CURLM* multi, zet::CWakeUp& wakeUp, std::function<bool(CURL* handle)> isHeld);
    CSocketEngine(const CSocketEngine&) = delete;
    CSocketEngine& operator=(const CSocketEngine&) = delete;
    /// Nothing waits for the sockets any more.
    ~CSocketEngine();

    /// Waits for an event of a socket, for the wake-up, or until the time has passed.
    void wait(int milliseconds) noexcept;
    /// The next run looks at all transfers.
    void requestAll() noexcept { m_isAllRequested = true; }
    /// Continues the transfers that have events or whose timers have expired.
    /// \param count         number of transfers that have not ended
    /// \param running [out] number of transfers that run afterwards
    /// \return what libcurl returns
    CURLMcode run(int count, int* running);
    /// Whether libcurl waits for a socket.
    bool hasSockets() const noexcept { return m_socketCount > 0; }
    /// A transfer was removed from the multi handle.
    void drop(CURL* handle) noexcept;

private:
    using Clock = std::chrono::steady_clock;

    /// What is known of a transfer that has had a socket.
    struct CSocketsOf {
        int count = 0;
        bool isLost = false;  // libcurl has forgotten the last of them
    };

    static int onSocket(CURL* handle, curl_socket_t socket, int what, void* engine, void* known) noexcept;

    void watch(CURL* handle, curl_socket_t socket, int what, bool isKnown) noexcept;
    void forget(CURL* handle, curl_socket_t socket) noexcept;
    void noteSocketOf(CURL* handle);
    void noteLossOf(CURL* handle);
    bool keepForFTP(CURL* handle, curl_socket_t socket);
    void dropCompanionsOf(curl_socket_t socket) noexcept;
    void collect(int milliseconds) noexcept;
    bool isWakeUp(curl_socket_t socket) const noexcept;
    bool isAllDue() const;
    Clock::duration getRound() const;
    int limitWait(int milliseconds) const;
    CURLMcode runAll(int* running);
    CURLMcode runEvents(int* running);

    CURLM* const m_multi;
    zet::CWakeUp& m_wakeUp;
    CSocketPoller m_poller;
    std::span<const CSocketPoller::CEvent> m_events;
    int m_socketCount = 0;
    int m_count = 0;  // of transfers, at the last run
    const std::function<bool(CURL* handle)> m_isHeld;
    std::unordered_map<CURL*, CSocketsOf> m_socketsOf;
    int m_lostCount = 0;                                     // of transfers that are lost
    bool m_isNewlyLost = false;                              // one of them, since the last look at all
    std::unordered_map<CURL*, curl_socket_t> m_newestOfFTP;  // the socket that was told last
    // Sockets that libcurl has forgotten, and those by which their transfers are known.
    std::unordered_map<curl_socket_t, curl_socket_t> m_companions;
    bool m_hasWaited = false;        // since the last run
    bool m_isAllRequested = true;    // transfers may run already
    bool m_isEachUnwatched = false;  // the system has refused to watch a socket
    Clock::time_point m_lastAll;
};

}  // namespace vexil
