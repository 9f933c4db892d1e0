#pragma once

#include "zet/Export.h"
#include "zet/String.h"
#include "zet/Types.h"

#include <concepts>

namespace zet {

/// Converts a text that is a decimal integer with an optional sign.
/// \param allowWhiteSpace  skip ASCII white space at both ends; within the number it is never allowed
/// \throws CError "Invalid number: '...'" for every other text: empty, with other characters, beyond 64 bits
ZET_API int64 parseInt64Strictly(const String& text, bool allowWhiteSpace);

/// parseInt64Strictly() under a shorter name. Only for a `bool`: parseInt64(text, 0) returns 0 for an invalid
/// text.
template <std::same_as<bool> Flag>
int64 parseInt64(const String& text, Flag allowWhiteSpace) {
    return parseInt64Strictly(text, allowWhiteSpace);
}

/// Converts a text that is a decimal integer with an optional sign. Returns `defaultValue` for every other
/// text. Never throws.
[[nodiscard]] ZET_API int64 parseInt64(const String& text, int64 defaultValue) noexcept;

/// Converts a decimal number with an optional sign and any number of digits, but without an exponent: "12",
/// "-1.25", ".5". The decimal separator is a point, whatever the locale. Returns `defaultValue` for every
/// other text and for numbers that are too large.
[[nodiscard]] ZET_API double parseSimpleDouble(const String& text, double defaultValue);

}  // namespace zet
