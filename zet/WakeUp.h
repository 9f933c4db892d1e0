#pragma once

#include "zet/Base.h"

#include <atomic>
#include <cstdint>

namespace zet {

/// A descriptor that any thread can make readable, to wake another thread that waits for sockets.
class CWakeUp : public virtual CBase {
public:
    /// \throws CError of domain "system" if the system has no descriptor
    CWakeUp();
    CWakeUp(const CWakeUp&) = delete;
    CWakeUp& operator=(const CWakeUp&) = delete;
    ~CWakeUp() override;

    /// Makes the descriptor readable. Any thread; no effect if it is readable.
    void wake() noexcept {
        if (!m_isAwake.exchange(true)) {
            makeReadable();
        }
    }
    /// Makes the descriptor unreadable again. Called by the one thread that waits, after the descriptor
    /// became readable. The thread then sees everything that was done before wake().
    void clear() noexcept {
        makeUnreadable();
        // Not before: the effect of a wake() in between would be removed, and later calls of wake() would do
        // nothing.
        m_isAwake = false;
    }

    /// The descriptor to wait for. This object owns it.
    std::intptr_t getDescriptor() const noexcept { return m_descriptor; }

    /// True if CPosixSelect can wait for the next descriptors that are opened. They get the lowest free
    /// numbers.
    [[nodiscard]] bool canSelectNewDescriptors() const noexcept;

private:
    // In the file of the platform.
    void makeReadable() noexcept;
    void makeUnreadable() noexcept;

    std::intptr_t m_descriptor;
    std::atomic<bool> m_isAwake{false};
};

}  // namespace zet
