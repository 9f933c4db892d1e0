#pragma once

#include "vexil/BaseTypes.h"

#include <optional>
#include <string_view>

namespace vexil::app {

/// Reads a number of bytes: a whole number, with "k", "M", "G" or "T" (also "K", "m", "g", "t") for 1024
/// bytes, 1024 k, 1024 M or 1024 G of them: "500", "10k", "4M".
/// \return nullopt for any other text, and for more than 1024 T
std::optional<int64> parseSize(std::string_view text);

}  // namespace vexil::app
