/// \file
/// Shared by the fuzzers.
#pragma once

#include "vexil/BaseTypes.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

/// Called by libFuzzer; each fuzzer defines it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace vexil_fuzz {

inline std::string_view textOf(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

/// Ends the program if a condition that must be true is false.
inline void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

/// Calls a parser, which may refuse its input with an error that begins with "Invalid ". Any other error ends
/// the program.
template <class Parse>
void parseOrRefuse(Parse parse) {
    try {
        parse();
    } catch (const vexil::CError& error) {
        require(error.getMessage().startsWith("Invalid "));
    }
}

}  // namespace vexil_fuzz
