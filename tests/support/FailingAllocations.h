/// \file
/// Makes allocations fail. Defines `operator new` for the whole program, including the library under test:
/// include it in only one source of a program.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace vexil_test {

/// Which allocations fail.
enum class Shortage {
    One,       ///< only one
    FromHere,  ///< this one and all that follow
};

/// Makes the n-th allocation, counted over the participating threads, fail during its lifetime. One object at
/// a time.
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

    /// Lets the calling thread participate until it ends. The thread that makes the object participates
    /// during the object's lifetime.
    static void takePart() { t_takesPart = true; }
    /// Excludes the calling thread, or includes it again. For code of others that does not survive a lack of
    /// memory.
    static void spare(bool isSpared) { t_isSpared = isSpared; }
    /// True if an allocation has failed.
    bool haveFailed() const { return s_left <= 0; }

    /// Number of blocks that the participating threads have allocated meanwhile and not freed.
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
