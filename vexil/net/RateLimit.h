#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

#include <chrono>
#include <memory>

namespace vexil {

class CNetRequest;
class CRateBuckets;

/// Limits how many bytes of bodies per second one request moves, or a group of requests that share the
/// object, in each direction: setRateLimit(), CTransferQueue::setRateLimit(), CS3TransferSettings::rateLimit.
///
/// The requests of a group take turns. A request that has nothing to move takes no turn, so that the others
/// use its share at once. Over five seconds the rate is kept within 5 %, unless the connections, sources and
/// sinks are slower: at most a tenth of a second is made up for. Counted are the bytes that sinks get and
/// sources give, without headers; the system's buffers may move some more at the beginning of a transfer. A
/// body given as an option (CURLOPT_POSTFIELDS) is not limited, nor are URLs of the scheme "file".
///
/// A transfer that waits for its turn can be cancelled, and full request timeouts count. The low speed limit
/// does not count while it waits. Do not call curl_easy_pause() for such a request: the limit ends the pause.
///
/// Thread safety: any thread may call every member at any time. The requests may run on different threads.
///
/// \code
/// P<CRateLimit> limit = new CRateLimit;
/// limit->setDownloadRate(4 << 20);
/// setRateLimit(*first, limit);
/// setRateLimit(*second, limit);
/// // anywhere else, at any time: limit->setDownloadRate(1 << 20);
/// \endcode
class VEXIL_API CRateLimit : public virtual CBase {
public:
    /// Where the time comes from, for tests. Any thread may call it. It must not throw.
    class VEXIL_API IClock : public virtual IBase {
    public:
        /// The time since some event. It never decreases.
        virtual std::chrono::nanoseconds getTime() noexcept = 0;
        /// Returns after about this time. CNetRequest::perform() calls it, at most for 50 ms.
        virtual void sleep(std::chrono::nanoseconds time) noexcept = 0;

    protected:
        ~IClock() override;
    };

    /// No limit, by the clock of the system.
    CRateLimit();
    /// No limit, by this clock, to which a reference is kept.
    /// \throws CInvalidArgError for null
    explicit CRateLimit(IClock* clock);
    CRateLimit(const CRateLimit&) = delete;
    CRateLimit& operator=(const CRateLimit&) = delete;
    ~CRateLimit() override;

    /// @{

    /// The limit of all requests together, also for transfers that run. Those that wait notice it within
    /// 50 ms.
    /// \param bytesPerSecond  0, the default, for no limit
    /// \throws CInvalidArgError for a negative number
    void setDownloadRate(int64 bytesPerSecond);
    void setUploadRate(int64 bytesPerSecond);
    /// @}
    /// @{

    /// The limit, 0 for none.
    [[nodiscard]] int64 getDownloadRate() const;
    [[nodiscard]] int64 getUploadRate() const;
    /// @}

private:
    friend class CRequestRate;

    const std::unique_ptr<CRateBuckets> m_buckets;
};

/// Limits the transfers of a request that begin from now on, by perform(), a manager or a worker. Survives
/// reset(). Like a progress object it allows CNetRequest::cancel(). Not limited are transfers of other
/// drivers.
///
/// Like the request: one thread at a time.
/// \param limit  a reference is kept; null, the default, for none
VEXIL_API void setRateLimit(CNetRequest& request, CRateLimit* limit);
/// The object of setRateLimit(), or null.
[[nodiscard]] VEXIL_API P<CRateLimit> getRateLimit(const CNetRequest& request);

}  // namespace vexil
