#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vexil {

/// What stands in place of a credential.
inline constexpr char strippedText[] = "~stripped~";

/// A part of a text: from its first byte to the one after its last.
struct TextRange {
    std::size_t begin = 0;
    std::size_t end = 0;
};

using TextRanges = std::vector<TextRange>;

/// Appends ranges of a part of a text that begins at `offset`.
void appendRanges(TextRanges& ranges, const TextRanges& found, std::size_t offset = 0);

/// Ranges in any order, which may overlap, made ordered and apart.
TextRanges mergeRanges(TextRanges ranges);

/// The text with each range replaced.
/// \param ranges  in order and apart
std::string stripRanges(std::string_view text, const TextRanges& ranges,
                        std::string_view replacement = strippedText);

}  // namespace vexil
