#pragma once

#include "vexil/BaseTypes.h"

#include <chrono>
#include <functional>
#include <optional>

namespace vexil {
class CNetRequest;
}

namespace vexil::app {

/// Decides how long a command tries temporary failures again, and after which pauses.
///
/// The pauses of one operation double from 0.2 s to 30 s. Of each, a random share between half and all is
/// used, so that many programs do not return at the same time. It gives up after a time without progress:
/// neither of this operation since its first failure, nor of any other operation since one has failed.
///
/// One thread.
class CPatience {
public:
    using Clock = std::chrono::steady_clock;
    using Milliseconds = std::chrono::milliseconds;

    static constexpr Milliseconds firstPause{200};
    static constexpr Milliseconds maxPause{30000};
    static constexpr Milliseconds defaultLimit{15 * 60 * 1000};
    /// The limit until the server has responded once: its name may be wrong, and nobody wants to wait long
    /// for that.
    static constexpr Milliseconds defaultFirstLimit{10000};
    /// How many transfers of one operation may fail after bytes have moved, if there is no limit of retries.
    static constexpr int maxBrokenTransfers = 50;

    struct Settings {
        Milliseconds limit = defaultLimit;            ///< 0: nothing is tried again
        Milliseconds firstLimit = defaultFirstLimit;  ///< the same until the server has responded once
        std::optional<int> maxRetries;                ///< of one operation
        double pauseFactor = 1;                       ///< for tests: multiplies all pauses
        std::function<Clock::time_point()> getTime = &Clock::now;
        std::function<double()> getRandom;  ///< from 0 to 1; a random number by default
        /// Called before each pause.
        std::function<void(const CError& error, int tries, Milliseconds pause)> onPause;
    };

    /// The failures of one operation so far.
    struct Failures {
        int count = 0;   ///< how often it was tried again
        int broken = 0;  ///< transfers that failed after bytes had moved
        std::optional<Clock::time_point> since;
    };

    CPatience();
    explicit CPatience(Settings settings);

    /// The pause before the next try of an operation after a temporary failure; nullopt to give up.
    /// \param hasMoved  whether bytes were transferred before the failure
    /// \param atLeast   the pause that the server demands (Retry-After). If it is too long, the operation
    ///         gives up
    std::optional<Milliseconds> decidePause(const CError& error, Failures& failures, bool hasMoved = false,
                                            Milliseconds atLeast = {});
    /// Whether the limit of retries allows one more.
    bool mayTryAgain(const Failures& failures) const;
    /// Must be called after an operation has succeeded.
    void onSuccess();

    /// How often something was tried again.
    int64 getRetryCount() const noexcept { return m_retryCount; }

    /// Sleeps for a pause.
    /// \throws "Interrupted." (CInterrupt)
    static void wait(Milliseconds pause);
    /// The pause that the last response demands before the next request: its header Retry-After (RFC 9110,
    /// 10.2.3), a number of seconds or a date; 0 if there is none.
    static Milliseconds findRetryAfter(const CNetRequest& request);

private:
    Milliseconds makePause(int count) const;
    Milliseconds multiply(Milliseconds pause, double factor) const;

    Settings m_settings;
    std::optional<Clock::time_point> m_since;  // of the first failure after the last success
    bool m_hasContact = false;
    int64 m_retryCount = 0;
};

}  // namespace vexil::app
