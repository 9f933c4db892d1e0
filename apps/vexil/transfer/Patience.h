#pragma once

#include "vexil/BaseTypes.h"

#include <chrono>
#include <functional>
#include <optional>

namespace vexil {
class CNetRequest;
}

namespace vexil::app {

/// Decides for how long a command tries again what has failed for now, and after which pauses.
///
/// The pauses of one operation double from 0.2 s to 30 s. Of each, a random share between half and all is waited, so that
/// many programs do not come back at the same time. It gives up when nothing has gone on for so long: neither this
/// operation since it failed first, nor any other one since one has failed.
///
/// One thread.
class CPatience {
public:
    using Clock = std::chrono::steady_clock;
    using Milliseconds = std::chrono::milliseconds;

    static constexpr Milliseconds firstPause{200};
    static constexpr Milliseconds maxPause{30000};
    static constexpr Milliseconds defaultLimit{15 * 60 * 1000};
    /// Before the server has ever answered: its name may be wrong, and nobody wants to wait long for that.
    static constexpr Milliseconds defaultFirstLimit{10000};
    /// So many transfers of one operation may break after bytes have moved, if no number of retries is set.
    static constexpr int maxBrokenTransfers = 50;

    struct Settings {
        Milliseconds limit = defaultLimit;            ///< 0: nothing is tried again
        Milliseconds firstLimit = defaultFirstLimit;  ///< the same until the server has answered once
        std::optional<int> maxRetries;                ///< of one operation
        double pauseFactor = 1;                       ///< for tests: all pauses are multiplied by it
        std::function<Clock::time_point()> getTime = &Clock::now;
        std::function<double()> getRandom;  ///< from 0 to 1; a random number by default
        /// Called before each pause.
        std::function<void(const CError& error, int tries, Milliseconds pause)> onPause;
    };

    /// How one operation has failed so far.
    struct Failures {
        int count = 0;   ///< how often it was tried again
        int broken = 0;  ///< transfers that broke after bytes had moved
        std::optional<Clock::time_point> since;
    };

    CPatience();
    explicit CPatience(Settings settings);

    /// The pause before the next try of an operation that has failed for now; nothing if there is to be none.
    /// \param hasMoved  whether bytes were transferred before it failed
    /// \param atLeast   what the server wants to wait (Retry-After). Nothing is tried again that would be too long
    std::optional<Milliseconds> decidePause(const CError& error, Failures& failures, bool hasMoved = false,
                                            Milliseconds atLeast = {});
    /// Whether the number of retries allows a further one.
    bool mayTryAgain(const Failures& failures) const;
    /// To be called when an operation has succeeded.
    void onSuccess();

    /// How often something was tried again.
    int64 getRetryCount() const noexcept { return m_retryCount; }

    /// Sleeps for a pause.
    /// \throws "Interrupted." (CInterrupt)
    static void wait(Milliseconds pause);
    /// What the last response wants to wait before the next request: its header Retry-After (RFC 9110, 10.2.3), a number of
    /// seconds or a date; 0 for none.
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
