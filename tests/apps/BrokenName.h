#pragma once

#include <filesystem>

namespace vexil_test {

/// A file name that is not text: "a" and a byte that UTF-8 never contains, or half a character of UTF-16.
/// Systems accept such names.
inline std::filesystem::path makeBrokenName() {
    using Unit = std::filesystem::path::value_type;
    return std::filesystem::path::string_type{'a', static_cast<Unit>(sizeof(Unit) == 1 ? 0xFF : 0xD800)};
}

}  // namespace vexil_test
