/// \file
/// Counts allocations of the calling thread. Defines `operator new` for the whole program, including the
/// library under test: include it in only one source of a program.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>

namespace vexil_test {

/// The number of allocations that this thread has made.
inline thread_local int t_allocations = 0;

/// `malloc` with counting.
inline void* countedMalloc(std::size_t size) {
    ++t_allocations;
    return std::malloc(size);
}

/// The number of allocations that `work` makes on this thread.
template <class Work>
int allocationsOf(const Work& work) {
    const int before = t_allocations;
    work();
    return t_allocations - before;
}

}  // namespace vexil_test

void* operator new(std::size_t size) {
    if (void* const memory = vexil_test::countedMalloc(size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
