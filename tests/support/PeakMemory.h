#pragma once

#include <fstream>
#include <string>

namespace vexil_test {

/// Peak resident size of this process in KiB; -1 if the system does not report it (Linux does).
inline int peakResidentSize() {
    std::ifstream status("/proc/self/status");
    for (std::string name; status >> name;) {
        if (name == "VmHWM:") {
            int size = 0;
            status >> size;
            return size;
        }
    }
    return -1;
}

}  // namespace vexil_test
