#pragma once

#include "zet/Export.h"
#include "zet/String.h"
#include "zet/Types.h"

#include <concepts>

namespace zet {

/// Reads a whole decimal number with an optional sign, and nothing else.
/// \param allowWhiteSpace  skip ASCII white space at both ends; inside the number it never counts
/// \throws CError "Invalid number: '...'" for anything else: empty text, other characters, more than 64 bits
ZET_API int64 parseInt64Strictly(const String& text, bool allowWhiteSpace);

/// parseInt64Strictly under its short name. Only a real `bool` comes here: parseInt64(text, 0) gives 0 for
/// bad text.
template <std::same_as<bool> Flag>
int64 parseInt64(const String& text, Flag allowWhiteSpace) {
    return parseInt64Strictly(text, allowWhiteSpace);
}

/// Reads a whole decimal number with an optional sign; `defaultValue` for anything else. Never throws.
ZET_API int64 parseInt64(const String& text, int64 defaultValue) noexcept;

/// Reads a decimal number with an optional sign, a point as its decimal separator whatever the locale, and no exponent
/// ("12", "-1.25", ".5"); `defaultValue` for anything else and for numbers too large. Any number of digits.
ZET_API double parseSimpleDouble(const String& text, double defaultValue);

}  // namespace zet
