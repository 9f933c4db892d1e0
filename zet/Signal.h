#pragma once

#include "zet/Base.h"
#include "zet/Export.h"
#include "zet/ThreadSafety.h"

#include <condition_variable>
#include <mutex>

namespace zet {

/// Manual-reset event: while it is set, every wait returns at once. Any thread, any time.
class ZET_API CSignal : public virtual CBase {
public:
    /// Not set.
    CSignal() = default;
    CSignal(const CSignal&) = delete;
    CSignal& operator=(const CSignal&) = delete;
    ~CSignal() override;

    /// Sets the signal and wakes all waiting threads. No effect if it is set.
    void set();
    /// Makes the signal not set: wait() waits again.
    void reset();
    /// True if the signal is set at this moment.
    [[nodiscard]] bool isSet() const;
    /// Waits until the signal is set.
    /// \param milliseconds  the longest wait; 0 does not wait, a negative number waits for ever
    /// \return true if the signal is set
    bool wait(int milliseconds);

private:
    /// The mutex of a condition variable, which cannot be recursive.
    struct ZET_CAPABILITY("mutex") CStateMutex {
        std::mutex mutex;
    };
    class CStateLock;

    mutable CStateMutex m_mutex;
    std::condition_variable m_changed;
    bool m_isSet ZET_GUARDED_BY(m_mutex) = false;
};

}  // namespace zet
