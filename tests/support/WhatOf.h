#pragma once

#include <exception>
#include <string>

namespace vexil_test {

/// The text of the error that `work` throws.
template <class Work>
std::string whatOf(const Work& work) {
    try {
        work();
    } catch (const std::exception& error) {
        return error.what();
    }
    return "no error";
}

}  // namespace vexil_test
