#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/net/RetryBudget.h"

#include <chrono>
#include <functional>
#include <optional>

namespace vexil {

class CNetRequest;

/// Decides how long temporary failures are tried again, and after which pauses.
///
/// The pauses of one operation double from 0.2 s to 30 s. A random share is taken off, so that many programs
/// do not return at the same time. It gives up after a time without progress: neither of this operation since
/// its first failure, nor of any other operation since one has failed. Use one object for all operations on a
/// server.
///
/// It does not wait: the caller does.
///
/// Thread safety: one thread at a time. Copies are independent.
///
/// \code
/// CRetryPolicy::Failures failures;  // of one operation
/// for (;;) {
///     try {
///         request->perform();
///         retryPolicy.onSuccess();
///         break;
///     } catch (const CError& error) {
///         if (!retryPolicy.isTemporary(error)) {
///             throw;
///         }
///         const auto pause = retryPolicy.decidePause(error, failures);
///         if (!pause || !token->pause(static_cast<int>(pause->count()))) {
///             throw;
///         }
///     }
/// }
/// \endcode
class VEXIL_API CRetryPolicy {
public:
    /// The clock of all its times.
    using Clock = std::chrono::steady_clock;
    /// The unit of all its pauses.
    using Milliseconds = std::chrono::milliseconds;

    /// The pause after the first failure of an operation, before the random share is taken off.
    static constexpr Milliseconds firstPause{200};
    /// The longest pause that it chooses itself.
    static constexpr Milliseconds maxPause{30000};
    /// The default of Settings::limit.
    static constexpr Milliseconds defaultLimit{15 * 60 * 1000};
    /// The default of Settings::firstLimit. It is short: the server's name may be wrong, and nobody wants to
    /// wait long for that.
    static constexpr Milliseconds defaultFirstLimit{10000};
    /// How many transfers of one operation may fail after bytes have moved, if there is no limit of retries.
    static constexpr int maxBrokenTransfers = 50;

    /// What may be changed.
    struct Settings {
        Milliseconds limit = defaultLimit;             ///< time without progress; 0: nothing is tried again
        Milliseconds firstLimit = defaultFirstLimit;   ///< the same until the server has responded once
        std::optional<int> maxRetries = std::nullopt;  ///< of one operation; nullopt for no limit
        double randomShare = 0.5;  ///< the part of each pause that is random, 0 to 1; 1 is "full jitter"
        double pauseFactor = 1;    ///< multiplies all pauses, also those that servers demand; for tests
        std::function<Clock::time_point()> getTime = &Clock::now;  ///< the clock, for tests
        std::function<double()> getRandom = nullptr;               ///< 0 to 1; a random number by default
        /// Called before each pause. `tries` counts the tries of the operation that have failed, from 1.
        std::function<void(const CError& error, int tries, Milliseconds pause)> onPause = nullptr;
        /// No try begins at this time or later, by the clock of `getTime`; nullopt for no deadline.
        std::optional<Clock::time_point> deadline = std::nullopt;
        /// The retries of a group of policies together; a reference is kept, also by copies. Null for no
        /// limit.
        P<CRetryBudget> budget = nullptr;
        /// Which errors are tried again. Default: isTransientError(), which knows transfers that were
        /// interrupted, also after an interim response (100) and inside a successful response (200).
        std::function<bool(const CError& error)> isTemporary = nullptr;
    };

    /// The failures of one operation so far. Make a new one for each operation.
    struct Failures {
        int count = 0;   ///< how often it was tried again
        int broken = 0;  ///< transfers that failed after bytes had moved
        std::optional<Clock::time_point> since = std::nullopt;  ///< of the first failure without progress
    };

    /// With the default settings.
    CRetryPolicy();
    /// \throws CInvalidArgError for a random share outside 0 to 1, a negative factor or number of retries
    explicit CRetryPolicy(Settings settings);

    /// The pause before the next try of an operation after a temporary failure, which is counted; nullopt to
    /// give up.
    /// \param hasMoved  whether bytes were transferred before the failure, which is progress
    /// \param atLeast   the pause that the server demands (findRetryAfter()). If it is longer than the time
    ///         that is left, the operation gives up
    [[nodiscard]] std::optional<Milliseconds> decidePause(const CError& error, Failures& failures,
                                                          bool hasMoved = false, Milliseconds atLeast = {});
    /// Whether an error may go away: Settings::isTemporary.
    [[nodiscard]] bool isTemporary(const CError& error) const;
    /// Whether the limit of retries allows one more.
    [[nodiscard]] bool mayTryAgain(const Failures& failures) const;
    /// Must be called after an operation has succeeded.
    void onSuccess();

    /// How often something was tried again.
    [[nodiscard]] int64 getRetryCount() const noexcept { return m_retryCount; }

    /// The pause that the last response demands before the next request: its header Retry-After (RFC 9110,
    /// 10.2.3), a number of seconds or a date; at most 24 hours. 0 without this header.
    [[nodiscard]] static Milliseconds findRetryAfter(const CNetRequest& request);
    /// Whether the last transfer has moved bytes of a body and was not refused (status 400 and more). That is
    /// progress: see decidePause().
    [[nodiscard]] static bool hasMovedBytes(const CNetRequest& request, const CError& error);

private:
    Milliseconds makePause(int count) const;
    Milliseconds multiply(Milliseconds pause, double factor) const;

    Settings m_settings;
    std::optional<Clock::time_point> m_since;  // of the first failure after the last success
    bool m_hasContact = false;
    int64 m_retryCount = 0;
};

}  // namespace vexil
