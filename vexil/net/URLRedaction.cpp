#include "vexil/net/URLRedaction.h"

#include "vexil/net/URLCredentialFinder.h"

#include <string>
#include <string_view>

namespace vexil {

namespace {

constexpr char hiddenText[] = "***";
constexpr auto npos = std::string_view::npos;

TextRanges findSecretsInURL(std::string_view url) {
    TextRanges ranges = findPossibleCredentialsOfURL(url);
    appendRanges(ranges, findSecretArgumentsOfURL(url));
    return ranges;
}

/// The last quoted text in a message of this library, which may contain quotes; empty, at the end, if there
/// is none.
TextRange findQuotedURL(std::string_view text) {
    static constexpr std::string_view before = "URL: '";
    const std::size_t found = text.rfind(before);
    if (found == npos) {
        return {text.size(), text.size()};
    }
    const std::size_t begin = found + before.size();
    const std::size_t quote = text.rfind('\'');
    return {begin, quote < begin ? text.size() : quote};
}

TextRanges findSecretsInText(std::string_view text) {
    TextRanges ranges = findURLCredentials(text);
    appendRanges(ranges, findCredentialsInWords(text, findPossibleCredentialsOfURL));
    const TextRange quoted = findQuotedURL(text);
    appendRanges(ranges, findSecretArguments(text.substr(0, quoted.begin)));
    appendRanges(ranges, findSecretsInURL(text.substr(quoted.begin, quoted.end - quoted.begin)),
                 quoted.begin);
    appendRanges(ranges, findSecretArguments(text.substr(quoted.end)), quoted.end);
    return ranges;
}

String strip(const std::string& text, const TextRanges& ranges) {
    return String::fromUTF8Lossy(stripRanges(text, mergeRanges(ranges), hiddenText));
}

}  // namespace

String redactURL(const String& url) {
    const std::string text = url.toUTF8();
    return strip(text, findSecretsInURL(text));
}

String redactURLs(const String& text) {
    const std::string bytes = text.toUTF8();
    return strip(bytes, findSecretsInText(bytes));
}

}  // namespace vexil
