// For preloading into a program: counts its heap allocations and prints the count on standard error at its
// end.

#include <atomic>
#include <cstddef>
#include <cstdio>

extern "C" {

// glibc's functions, by the names that remain if malloc is replaced.
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);

}  // extern "C"

namespace {

std::atomic<long long> allocations{0};

void count() {
    allocations.fetch_add(1, std::memory_order_relaxed);
}

__attribute__((destructor)) void report() {
    std::fprintf(stderr, "allocations=%lld\n", allocations.load());
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) void* malloc(std::size_t size) {
    count();
    return __libc_malloc(size);
}

__attribute__((visibility("default"))) void* calloc(std::size_t number, std::size_t size) {
    count();
    return __libc_calloc(number, size);
}

__attribute__((visibility("default"))) void* realloc(void* memory, std::size_t size) {
    count();
    return __libc_realloc(memory, size);
}

}  // extern "C"
