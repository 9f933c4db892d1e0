/// \file
/// Shared by the two programs, so that they differ only in the code that they measure.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <fstream>
#include <functional>
#include <iostream>
#include <malloc.h>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <valgrind/callgrind.h>

namespace bench {

constexpr std::int64_t mebibyte = 1024 * 1024;
/// The size of the objects of the S3 workloads.
constexpr int objectSize = 4096;

/// At least so many requests run before the measured ones.
constexpr int warmUpRequests = 10;

/// An address of the same server to which it never responds.
inline std::string neverAnswered(const std::string& url) {
    return url.substr(0, url.rfind('/')) + "/never";
}

/// Runs a workload with this many requests, or MiB of one body.
using Workload = std::function<void(const std::string& url, int count)>;

inline void require(bool condition, const char* what) {
    if (!condition) {
        throw std::runtime_error(what);
    }
}

/// Heap bytes in use.
inline std::size_t heapInUse() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

/// A number from the status file of a process or thread.
/// \param name  with its colon
inline int readStatus(const std::string& path, std::string_view name) {
    std::ifstream status(path);
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(name)) {
            return std::atoi(line.c_str() + name.size());
        }
    }
    throw std::runtime_error(path + " has no " + std::string(name));
}

/// Not getrusage(): its peak includes the process that started this one.
inline int peakKibibytes() {
    return readStatus("/proc/self/status", "VmHWM:");
}

/// `valgrind --tool=callgrind --instr-atstart=no` counts only during the lifetimes of such objects. All else
/// then runs faster.
class Counted {
public:
    Counted() { CALLGRIND_START_INSTRUMENTATION; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;
    ~Counted() { CALLGRIND_STOP_INSTRUMENTATION; }
};

/// Runs the workload that the arguments name and prints "NAME=VALUE" for each figure that this process can
/// measure.
inline int run(int argc, char** argv, const std::map<std::string, Workload>& workloads) {
    const auto workload = argc == 4 ? workloads.find(argv[1]) : workloads.end();
    if (workload == workloads.end()) {
        std::cerr << "usage: " << argv[0] << " WORKLOAD URL COUNT\nworkloads:";
        for (const auto& [name, ignored] : workloads) {
            std::cerr << ' ' << name;
        }
        std::cerr << '\n';
        return 2;
    }
    try {
        const auto start = std::chrono::steady_clock::now();
        workload->second(argv[2], std::atoi(argv[3]));
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
        std::cout << "seconds=" << elapsed.count()
                  << "\ncpu_seconds=" << static_cast<double>(std::clock()) / CLOCKS_PER_SEC
                  << "\npeak_kibibytes=" << peakKibibytes() << '\n';
        return 0;
    } catch (const std::exception& error) {
        std::cerr << argv[0] << ": " << error.what() << '\n';
        return 1;
    }
}

}  // namespace bench
