#include "vexil/net/URLRedaction.h"

#include "vexil/net/URLCredentialFinder.h"

#include <string>
#include <string_view>

namespace vexil {

namespace {

constexpr char hiddenText[] = "***";
constexpr auto npos = std::string_view::npos;

/// What the library's own messages quote; the URL may hold quotes itself.
TextRanges findCredentialsInQuotedURL(std::string_view text) {
    static constexpr std::string_view before = "URL: '";
    const std::size_t found = text.rfind(before);
    TextRanges ranges;
    if (found != npos) {
        const std::size_t begin = found + before.size();
        const std::size_t quote = text.rfind('\'');
        const std::size_t end = quote < begin ? text.size() : quote;
        appendRanges(ranges, findPossibleCredentialsOfURL(text.substr(begin, end - begin)), begin);
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
    appendRanges(ranges, findCredentialsInWords(bytes, findPossibleCredentialsOfURL));
    appendRanges(ranges, findCredentialsInQuotedURL(bytes));
    return strip(bytes, ranges);
}

}  // namespace vexil
