#include "vexil/net/URLCredentialFinder.h"

#include "zet/ASCII.h"

#include <algorithm>
#include <array>
#include <utility>

namespace vexil {

namespace {

constexpr std::size_t npos = std::string_view::npos;
constexpr std::string_view authorityEnds = "/?#";

/// Query arguments whose value is a secret: of presigned URLs, of OAuth (RFC 6749, 6750), and usual names of
/// keys.
constexpr std::array<std::string_view, 19> secretArguments = {"signature",
                                                              "x-amz-signature",
                                                              "x-amz-credential",
                                                              "x-amz-security-token",
                                                              "awsaccesskeyid",
                                                              "x-goog-signature",
                                                              "x-goog-credential",
                                                              "access_token",
                                                              "refresh_token",
                                                              "id_token",
                                                              "client_secret",
                                                              "sig",
                                                              "token",
                                                              "key",
                                                              "api_key",
                                                              "apikey",
                                                              "password",
                                                              "passwd",
                                                              "pwd"};

std::size_t skipSlashes(std::string_view text, std::size_t position) {
    return std::min(text.find_first_not_of('/', position), text.size());
}

/// Position of the "@" after the user information that begins at `start`; npos if there is none. Spaces and
/// quotes do not end it: it is better to hide too much than to show part of a password.
/// \param textsLastAt  position of the last "@" of the whole text
std::size_t findUserInfoEnd(std::string_view text, std::size_t start, std::size_t textsLastAt) {
    const std::string_view authority = text.substr(start, text.find_first_of(authorityEnds, start) - start);
    const std::size_t at = authority.rfind('@');
    if (at != npos) {
        return start + at;
    }
    const std::size_t lastAt = hasOddPort(authority) ? textsLastAt : npos;
    return lastAt != npos && lastAt > start ? lastAt : npos;
}

/// Offset of the next URL's user, host and port.
std::size_t findAuthority(std::string_view text, std::size_t from) {
    const std::size_t found = text.find("://", from);
    return found == npos ? npos : skipSlashes(text, found + 1);
}

TextRanges findURLCredentialsFrom(std::string_view text, std::size_t authority) {
    // Searched only once: a search for each URL would need quadratic time.
    const std::size_t lastAt = text.rfind('@');
    TextRanges ranges;
    while (authority != npos) {
        const std::size_t end = findUserInfoEnd(text, authority, lastAt);
        if (end != npos && end > authority) {
            ranges.push_back({authority, end});
        }
        authority = findAuthority(text, end == npos ? authority : end);
    }
    return ranges;
}

/// Offset of the value if the text begins with a secret argument; npos otherwise.
std::size_t findSecretValue(std::string_view text) {
    for (const std::string_view name : secretArguments) {
        if (text.size() > name.size() && text[name.size()] == '=' && zet::startsWithNoCase(text, name)) {
            return name.size() + 1;
        }
    }
    return npos;
}

TextRanges findArguments(std::string_view text, std::string_view valueEnds) {
    static constexpr std::string_view separators = "?&;#";
    TextRanges ranges;
    for (std::size_t at = text.find_first_of(separators); at != npos;) {
        const std::size_t value = findSecretValue(text.substr(at + 1));
        if (value != npos) {
            const std::size_t begin = at + 1 + value;
            at = std::min(text.find_first_of(valueEnds, begin), text.size());
            if (begin < at) {
                ranges.push_back({begin, at});
            }
        } else {
            ++at;
        }
        at = text.find_first_of(separators, at);
    }
    return ranges;
}

}  // namespace

std::size_t findAuthorityOfURL(std::string_view url) {
    const auto notScheme = [](char c) { return !zet::isAlphanumeric(c) && c != '+' && c != '-' && c != '.'; };
    const auto schemeEnd =
        static_cast<std::size_t>(std::find_if(url.begin(), url.end(), notScheme) - url.begin());
    if (url.substr(schemeEnd).starts_with(":/")) {
        return skipSlashes(url, schemeEnd + 1);
    }
    return url.starts_with("//") ? skipSlashes(url, 0) : npos;
}

bool hasOddPort(std::string_view authority) {
    const std::size_t hostEnd = authority.starts_with('[') ? authority.find(']') : 0;
    const std::size_t colon = authority.find(':', hostEnd == npos ? 0 : hostEnd);
    if (colon == npos) {
        return false;
    }
    const std::string_view port = authority.substr(colon + 1);
    return port.empty() || !std::all_of(port.begin(), port.end(), zet::isDigit<char>);
}

TextRanges findURLCredentials(std::string_view line) {
    return findURLCredentialsFrom(line, findAuthority(line, 0));
}

TextRanges findCredentialsOfURL(std::string_view url) {
    const std::size_t authority = findAuthorityOfURL(url);
    return findURLCredentialsFrom(url, authority == npos ? 0 : authority);
}

TextRanges findPossibleCredentialsOfURL(std::string_view url) {
    TextRanges ranges = findCredentialsOfURL(url);
    const std::size_t found = findAuthorityOfURL(url);
    const std::size_t authority = found == npos ? 0 : found;
    const std::size_t hostEnd = url.substr(authority).starts_with('[') ? url.find(']', authority) : authority;
    const std::size_t colon = url.find(':', std::min(hostEnd, url.size()));
    const std::size_t at = url.rfind('@');
    if (at != npos && colon < at && colon < url.find_first_of(authorityEnds, authority) && authority < at) {
        ranges.push_back({authority, at});
    }
    return mergeRanges(std::move(ranges));
}

TextRanges findCredentialsWithoutSlashes(std::string_view url) {
    const std::string_view start = url.substr(0, url.find("://"));
    const std::size_t at = start.rfind('@');
    const bool mayHaveLogin = at != npos && start.find(':') < at && findAuthorityOfURL(start) == npos;
    if (!mayHaveLogin) {
        return {};
    }
    TextRanges ranges = findCredentialsOfURL(start);
    return ranges.empty() ? findPossibleCredentialsOfURL(start) : ranges;
}

TextRanges findCredentialsInWords(std::string_view text, FindInURL find) {
    static constexpr char separators[] = " \t\r\n'\"<>";
    TextRanges ranges;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find_first_of(separators, begin), text.size());
        const std::string_view word = text.substr(begin, end - begin);
        const std::size_t at = word.rfind('@');
        if (at != npos && word.find(':') < at) {
            appendRanges(ranges, find(word), begin);
        }
        begin = end + 1;
    }
    return ranges;
}

TextRanges findSecretArguments(std::string_view text) {
    return findArguments(text, "& \t\v\f\r\n");
}

TextRanges findSecretArgumentsOfURL(std::string_view url) {
    return findArguments(url, "&");
}

}  // namespace vexil
