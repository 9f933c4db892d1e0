#pragma once

#include "zet/Base.h"
#include "zet/Export.h"

#include <condition_variable>
#include <mutex>

namespace zet {

/// Manual-reset event: once set, every wait returns at once until it is reset. Any thread, any time.
class ZET_API CSignal : public virtual CBase {
public:
    /// Not set.
    CSignal() = default;
    CSignal(const CSignal&) = delete;
    CSignal& operator=(const CSignal&) = delete;
    ~CSignal() override;

    /// Sets the signal and wakes everybody who waits. Does nothing when it is set.
    void set();
    /// From now on wait() waits.
    void reset();
    /// Whether the signal is set at this moment.
    bool isSet() const;
    /// Waits until the signal is set, at most so many milliseconds (0: only looks; negative: for ever).
    /// Tells whether it is set.
    bool wait(int milliseconds);

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_isSet = false;
};

}  // namespace zet
