/// \file
/// Checks for a process that a death test has started. GoogleTest's checks do not reach the test from there.
#pragma once

#include "zet/Error.h"

#include <cstdlib>
#include <functional>
#include <iostream>
#include <string>
#include <typeinfo>

namespace vexil_test {

/// Ends the process with exit code 1 unless the condition holds.
inline void require(bool condition, const std::string& what) {
    if (!condition) {
        std::cerr << "failed: " << what << std::endl;
        std::_Exit(1);
    }
}

/// The message of the error, which must be a CError without other data; "" for no error.
inline std::string plainErrorOf(const std::function<void()>& function) {
    try {
        function();
        return "";
    } catch (const zet::CError& error) {
        require(typeid(error) == typeid(zet::CError), "type");
        require(error.getDomain().isEmpty(), "domain");
        require(error.getCode() == -1, "code");
        require(error.getProps().isEmpty(), "properties");
        require(!error.getInnerError(), "inner error");
        return error.what();
    }
}

inline void requireError(const std::function<void()>& function, const std::string& message) {
    const std::string error = plainErrorOf(function);
    require(error == message, "error: '" + error + "'");
}

}  // namespace vexil_test
