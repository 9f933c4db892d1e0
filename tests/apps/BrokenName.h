#pragma once

#include <filesystem>

namespace vexil_test {

/// A name of a file, "a" and something that belongs to no text: a byte that UTF-8 never has, or half a
/// character of UTF-16. Systems have such files.
inline std::filesystem::path makeBrokenName() {
    using Unit = std::filesystem::path::value_type;
    return std::filesystem::path::string_type{'a', static_cast<Unit>(sizeof(Unit) == 1 ? 0xFF : 0xD800)};
}

}  // namespace vexil_test
