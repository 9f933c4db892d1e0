#include "vexil/net/URLRedaction.h"

#include "vexil/net/CredentialFinder.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace vexil {

namespace {

constexpr char hiddenText[] = "***";
constexpr auto npos = std::string_view::npos;

void append(TextRanges& ranges, const TextRanges& found, std::size_t offset) {
    for (const TextRange& range : found) {
        ranges.push_back({offset + range.begin, offset + range.end});
    }
}

/// Words, which blanks, line ends and quotes end, that have a ":" before an "@".
TextRanges findCredentialsInWords(std::string_view text) {
    static constexpr char separators[] = " \t\r\n'\"<>";
    TextRanges ranges;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find_first_of(separators, begin), text.size());
        const std::string_view word = text.substr(begin, end - begin);
        const std::size_t at = word.rfind('@');
        if (at != npos && word.find(':') < at) {
            append(ranges, findPossibleCredentialsOfURL(word), begin);
        }
        begin = end + 1;
    }
    return ranges;
}

/// What the library's own messages quote; the URL may hold quotes itself.
TextRanges findCredentialsInQuotedURL(std::string_view text) {
    static constexpr std::string_view before = "URL: '";
    const std::size_t found = text.rfind(before);
    TextRanges ranges;
    if (found != npos) {
        const std::size_t begin = found + before.size();
        const std::size_t quote = text.rfind('\'');
        const std::size_t end = quote < begin ? text.size() : quote;
        append(ranges, findPossibleCredentialsOfURL(text.substr(begin, end - begin)), begin);
    }
    return ranges;
}

String strip(const std::string& text, const TextRanges& ranges) {
    return String::fromUTF8Lossy(stripRanges(text, mergeRanges(ranges), hiddenText));
}

}  // namespace

String redactURL(const String& url) {
    const std::string text = url.toUTF8();
    return strip(text, findPossibleCredentialsOfURL(text));
}

String redactURLs(const String& text) {
    const std::string bytes = text.toUTF8();
    TextRanges ranges = findURLCredentials(bytes);
    append(ranges, findCredentialsInWords(bytes), 0);
    append(ranges, findCredentialsInQuotedURL(bytes), 0);
    return strip(bytes, ranges);
}

}  // namespace vexil
