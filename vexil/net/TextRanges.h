#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vexil {

/// Replaces a credential.
inline constexpr char strippedText[] = "~stripped~";

/// A part of a text: from its first byte to the one after its last.
struct TextRange {
    std::size_t begin = 0;
    std::size_t end = 0;
};

using TextRanges = std::vector<TextRange>;

/// Appends ranges that were found in a part of a text.
/// \param offset  where the part begins
void appendRanges(TextRanges& ranges, const TextRanges& found, std::size_t offset = 0);

/// Sorts ranges and merges those that overlap.
TextRanges mergeRanges(TextRanges ranges);

/// The text with each range replaced.
/// \param ranges  in order, without overlaps
std::string stripRanges(std::string_view text, const TextRanges& ranges,
                        std::string_view replacement = strippedText);

}  // namespace vexil
