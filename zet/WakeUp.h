#pragma once

#include "zet/Base.h"

#include <atomic>
#include <cstdint>

namespace zet {

/// A descriptor that any thread can make readable, to end another thread's wait for sockets.
class CWakeUp : public virtual CBase {
public:
    /// \throws CError of domain "system" when the system gives no descriptor
    CWakeUp();
    CWakeUp(const CWakeUp&) = delete;
    CWakeUp& operator=(const CWakeUp&) = delete;
    ~CWakeUp() override;

    /// Makes the descriptor readable. Any thread; does nothing while it is readable already.
    void wake() noexcept {
        if (!m_isAwake.exchange(true)) {
            makeReadable();
        }
    }
    /// Makes the descriptor unreadable again. For the one thread that waits, when it has found it readable.
    /// Whatever was done before the wake() that this undoes can be seen by that thread afterwards.
    void clear() noexcept {
        makeUnreadable();
        // After that: a wake() in between has nothing to write.
        m_isAwake = false;
    }

    /// To wait for; stays this object's.
    std::intptr_t getDescriptor() const noexcept { return m_descriptor; }

    /// Whether CPosixSelect can wait for descriptors that are opened from now on, which get the lowest free numbers.
    bool canSelectNewDescriptors() const noexcept;

private:
    // In the file of the platform.
    void makeReadable() noexcept;
    void makeUnreadable() noexcept;

    std::intptr_t m_descriptor;
    std::atomic<bool> m_isAwake{false};
};

}  // namespace zet
