/// \file
/// Counts what the calling thread allocates. Defines `operator new` for the whole program, in the library under test too:
/// to be included by one source of a program only.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>

namespace vexil_test {

/// How many allocations this thread has made.
inline thread_local int t_allocations = 0;

/// `malloc`, counted.
inline void* countedMalloc(std::size_t size) {
    ++t_allocations;
    return std::malloc(size);
}

/// How many allocations `work` makes on this thread.
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
