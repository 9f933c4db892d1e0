#include "vexil/net/TextRanges.h"

#include <algorithm>

namespace vexil {

void appendRanges(TextRanges& ranges, const TextRanges& found, std::size_t offset) {
    for (const TextRange& range : found) {
        ranges.push_back({offset + range.begin, offset + range.end});
    }
}

TextRanges mergeRanges(TextRanges ranges) {
    std::sort(ranges.begin(), ranges.end(),
              [](const TextRange& left, const TextRange& right) { return left.begin < right.begin; });
    TextRanges merged;
    for (const TextRange& range : ranges) {
        if (!merged.empty() && range.begin <= merged.back().end) {
            merged.back().end = std::max(merged.back().end, range.end);
        } else {
            merged.push_back(range);
        }
    }
    return merged;
}

std::string stripRanges(std::string_view text, const TextRanges& ranges, std::string_view replacement) {
    std::string stripped;
    std::size_t position = 0;
    for (const TextRange& range : ranges) {
        stripped += text.substr(position, range.begin - position);
        stripped += replacement;
        position = range.end;
    }
    stripped += text.substr(position);
    return stripped;
}

}  // namespace vexil
