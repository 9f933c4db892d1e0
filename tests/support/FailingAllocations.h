/// \file
/// Lets memory run out. Defines `operator new` for the whole program, in the library under test too: to be included by
/// one source of a program only.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace vexil_test {

/// Which allocations fail.
enum class Shortage {
    One,       ///< a single one
    FromHere,  ///< that one and all that follow
};

/// The n-th allocation, counted over the threads that take part, fails while this object lives. One at a time.
class FailingAllocations {
public:
    /// \param n  counts from 1
    FailingAllocations(long n, Shortage shortage) {
        s_shortage = shortage;
        s_left = n;
        s_isOn = true;
        takePart();
    }
    ~FailingAllocations() {
        t_takesPart = false;
        s_isOn = false;
    }
    FailingAllocations(const FailingAllocations&) = delete;
    FailingAllocations& operator=(const FailingAllocations&) = delete;

    /// Counts the allocations of the calling thread, too, up to its end. The thread that makes the object takes part
    /// while it lives.
    static void takePart() { t_takesPart = true; }
    /// Lets the calling thread have its memory, or no longer. For code of others that does not survive the lack of it.
    static void spare(bool isSpared) { t_isSpared = isSpared; }
    /// Whether an allocation has failed.
    bool haveFailed() const { return s_left <= 0; }

    /// How many blocks the threads that take part hold, of those that they have allocated while they did.
    static long heldBlocks() { return s_heldBlocks; }

    static void* allocate(std::size_t size) {
        if (t_takesPart && !t_isSpared && s_isOn && mustFail()) {
            return nullptr;
        }
        void* const memory = std::malloc(size > 0 ? size : 1);
        if (memory && t_takesPart) {
            ++s_heldBlocks;
        }
        return memory;
    }
    static void free(void* memory) {
        if (memory && t_takesPart) {
            --s_heldBlocks;
        }
        std::free(memory);
    }

private:
    static bool mustFail() {
        const long left = --s_left;
        return left == 0 || (left < 0 && s_shortage == Shortage::FromHere);
    }

    static inline std::atomic<bool> s_isOn{false};
    static inline std::atomic<Shortage> s_shortage{Shortage::One};
    static inline std::atomic<long> s_left{0};
    static inline std::atomic<long> s_heldBlocks{0};
    static inline thread_local bool t_takesPart = false;
    static inline thread_local bool t_isSpared = false;
};

}  // namespace vexil_test

void* operator new(std::size_t size) {
    if (void* const memory = vexil_test::FailingAllocations::allocate(size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    vexil_test::FailingAllocations::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    vexil_test::FailingAllocations::free(memory);
}
