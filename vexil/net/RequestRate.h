#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/RateBuckets.h"
#include "vexil/net/RateLimit.h"

#include <curl/curl.h>

#include <chrono>
#include <cstddef>
#include <list>

namespace vexil {

class CRateWaiters;

/// The rate limit of a request, and how a transfer of the request waits for its turns. libcurl pauses the
/// direction that waits. A driver with many transfers continues it when its turn has come; in perform() the
/// progress callback waits.
///
/// Thread safety: one thread at a time.
class CRequestRate {
public:
    using Clock = std::chrono::steady_clock;

    /// \param handle  of the request, which must outlive this object
    explicit CRequestRate(CURL* handle);
    CRequestRate(const CRequestRate&) = delete;
    CRequestRate& operator=(const CRequestRate&) = delete;
    ~CRequestRate() { end(); }

    /// For the transfers that begin from now on. Null for none.
    void setLimit(CRateLimit* limit) { m_limit = limit; }
    const P<CRateLimit>& getLimit() const noexcept { return m_limit; }

    /// A transfer begins.
    /// \param isLimitable  whether libcurl can pause it
    /// \param waiters      of the driver; null if it has only this transfer, as perform()
    void begin(bool isLimitable, CRateWaiters* waiters) noexcept;
    /// The transfer has ended, or is removed: its turns go to others.
    void end() noexcept;
    /// Whether the running transfer has a limit.
    bool isActive() const noexcept { return m_running.get() != nullptr; }
    /// Whether the driver has to continue the transfer when its turn comes.
    bool isHeld() const noexcept { return m_isListed; }

    /// @{

    /// How many bytes may be moved now. If it is 0, the callback must pause its direction.
    /// \param wanted  at least 1
    std::size_t takeDownload(std::size_t wanted) noexcept;
    std::size_t takeUpload(std::size_t wanted) noexcept;
    /// @}
    /// Bytes of takeUpload() that the source did not give.
    void giveBackUpload(std::size_t bytes) noexcept;

    /// @{

    /// How many bytes of the block that libcurl offers were taken already. It offers a block again, from its
    /// first byte, until the whole block is taken.
    std::size_t getTakenOfBlock() const noexcept { return m_takenOfBlock; }
    void setTakenOfBlock(std::size_t bytes) noexcept { m_takenOfBlock = bytes; }
    /// @}
    /// Whether the source itself has paused, which the limit must not end.
    void setSourcePaused(bool isPaused) noexcept { m_isSourcePaused = isPaused; }

    /// In the progress callback: waits a little for the turn of a transfer without a driver.
    /// \return false if the transfer has to end, see hasFailed()
    bool wait() noexcept;
    /// For the driver: continues the transfer. If it is not its turn, its callback pauses it again.
    void resume() noexcept;
    /// For the driver: how long the transfer has to wait. The time of its clock.
    std::chrono::nanoseconds getWait() const noexcept;
    /// For the driver: whether it is time for resume(). Also for a transfer that waits long, because libcurl
    /// would count the wait for the low speed limit.
    bool isDue(Clock::time_point now) const noexcept;

    /// Whether a callback has failed while libcurl continued the transfer. libcurl does not notice it.
    bool hasFailed() const noexcept { return m_failure != CURLE_OK; }
    /// The result of the last transfer, from that of libcurl.
    CURLcode getResult(CURLcode result) const noexcept { return hasFailed() ? m_failure : result; }

private:
    friend class CRateWaiters;

    /// One direction of the transfer.
    struct Way {
        CRateBucket::Place place;
        bool isWaiting = false;
    };

    CRateBuckets& getBuckets() const noexcept { return *m_running->m_buckets; }
    std::size_t take(RateDirection direction, Way& way, std::size_t wanted) noexcept;

    CURL* const m_handle;
    P<CRateLimit> m_limit;
    P<CRateLimit> m_running;  // the limit of the running transfer
    P<CRateWaiters> m_waiters;
    Way m_download;
    Way m_upload;
    std::size_t m_takenOfBlock = 0;
    bool m_isSourcePaused = false;
    CURLcode m_failure = CURLE_OK;
    std::list<CRequestRate*> m_node;  // here, or in the list of the waiters
    const std::list<CRequestRate*>::iterator m_place;
    bool m_isListed = false;
    Clock::time_point m_listedAt;
};

}  // namespace vexil
