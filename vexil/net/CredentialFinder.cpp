#include "vexil/net/CredentialFinder.h"

#include <algorithm>
#include <array>
#include <utility>

namespace vexil {

namespace {

constexpr std::size_t npos = std::string_view::npos;

/// Headers whose whole value is a credential.
constexpr std::array<std::string_view, 5> secretHeaders = {"authorization", "proxy-authorization", "cookie",
                                                           "set-cookie", "x-amz-security-token"};

constexpr bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

constexpr char toLower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr bool isAlphanumeric(char c) {
    return isDigit(c) || (toLower(c) >= 'a' && toLower(c) <= 'z');
}

/// What a header name can hold of what surrounds it in a remark.
constexpr bool isNameCharacter(char c) {
    return isAlphanumeric(c) || c == '-' || c == '_';
}

bool equalsNoCase(std::string_view left, std::string_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char a, char b) { return toLower(a) == toLower(b); });
}

bool startsWithNoCase(std::string_view text, std::string_view start) {
    return equalsNoCase(text.substr(0, start.size()), start);
}

std::size_t skipBlanks(std::string_view text, std::size_t position) {
    return std::min(text.find_first_not_of(" \t", position), text.size());
}

std::string_view trimRight(std::string_view text) {
    return text.substr(0, text.find_last_not_of(" \t") + 1);
}

TextRanges toRanges(TextRange range) {
    return range.begin < range.end ? TextRanges{range} : TextRanges{};
}

// ---- URLs ------------------------------------------------------------------------------------------------

/// Whether what stands where the port belongs is none: then "host:" may be "user:" of a password with a "/",
/// "?" or "#" that should have been escaped.
bool hasOddPort(std::string_view authority) {
    const std::size_t hostEnd = authority.starts_with('[') ? authority.find(']') : 0;
    const std::size_t colon = authority.find(':', hostEnd == npos ? 0 : hostEnd);
    if (colon == npos) {
        return false;
    }
    const std::string_view port = authority.substr(colon + 1);
    return port.empty() || !std::all_of(port.begin(), port.end(), isDigit);
}

/// Position of the "@" behind the user information that begins at `start`; npos without one. Blanks and
/// quotes do not end it: rather too much than a part of a password.
/// \param textsLastAt  position of the last "@" of the whole text
std::size_t findUserInfoEnd(std::string_view text, std::size_t start, std::size_t textsLastAt) {
    const std::string_view authority = text.substr(start, text.find_first_of("/?#", start) - start);
    const std::size_t at = authority.rfind('@');
    if (at != npos) {
        return start + at;
    }
    const std::size_t lastAt = hasOddPort(authority) ? textsLastAt : npos;
    return lastAt != npos && lastAt > start ? lastAt : npos;
}

std::size_t skipSlashes(std::string_view text, std::size_t position) {
    return std::min(text.find_first_not_of('/', position), text.size());
}

/// Where the next URL's user, host and port begin.
std::size_t findAuthority(std::string_view text, std::size_t from) {
    const std::size_t found = text.find("://", from);
    return found == npos ? npos : skipSlashes(text, found + 1);
}

/// Where they begin in a text that is one URL; one slash is enough for libcurl. npos for a text that has none
/// before them.
std::size_t findAuthorityOfURL(std::string_view url) {
    const auto notScheme = [](char c) { return !isAlphanumeric(c) && c != '+' && c != '-' && c != '.'; };
    const auto schemeEnd = std::find_if(url.begin(), url.end(), notScheme) - url.begin();
    const std::string_view rest = url.substr(static_cast<std::size_t>(schemeEnd));
    if (rest.starts_with(":/")) {
        return skipSlashes(url, static_cast<std::size_t>(schemeEnd) + 1);
    }
    return url.starts_with("//") ? skipSlashes(url, 0) : npos;
}

TextRanges findURLCredentialsFrom(std::string_view text, std::size_t authority) {
    // Once: a search for each URL would make the time grow with the square of the length.
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

// ---- libcurl's remarks -----------------------------------------------------------------------------------

std::size_t findEndOfName(std::string_view line, std::size_t found, std::string_view name) {
    const std::size_t colon = skipBlanks(line, found + name.size());
    const bool isWhole = found == 0 || !isNameCharacter(line[found - 1]);
    return isWhole && colon < line.size() && line[colon] == ':' ? colon + 1 : npos;
}

/// Where the value of that header begins, wherever its name stands in the line; npos without it.
std::size_t findHeaderInRemark(std::string_view line, std::string_view name) {
    for (std::size_t i = 0; i + name.size() < line.size(); ++i) {
        if (startsWithNoCase(line.substr(i), name)) {
            const std::size_t end = findEndOfName(line, i, name);
            if (end != npos) {
                return skipBlanks(line, end);
            }
        }
    }
    return npos;
}

/// The header of an HTTP/2 request: "h2h3 [authorization: Basic …]". A long remark is cut, bracket and all.
TextRanges findSecretHeaderInRemark(std::string_view line) {
    std::size_t begin = npos;
    for (const std::string_view name : secretHeaders) {
        begin = std::min(begin, findHeaderInRemark(line, name));
    }
    return begin == npos ? TextRanges() : toRanges({begin, line.size() - (line.ends_with(']') ? 1 : 0)});
}

/// Whether libcurl may have cut it: CURL_ERROR_SIZE for descriptions of errors, the size of its buffer for all else.
bool mayBeCut(std::string_view remark) {
    return remark.size() == 255 || remark.size() >= 2047;
}

/// What follows `before`, up to the last `behind`, or to the end of a remark that was cut.
TextRanges findBetween(std::string_view remark, std::string_view before, std::string_view behind) {
    const std::size_t found = remark.find(before);
    if (found == npos) {
        return {};
    }
    const std::size_t begin = found + before.size();
    const std::size_t end = mayBeCut(remark) ? npos : remark.rfind(behind);
    return toRanges({begin, end == npos || end < begin ? remark.size() : end});
}

/// The cookie engine: "Added cookie name="value" for domain …".
TextRanges findCookieInRemark(std::string_view remark) {
    const bool isCookie = remark.starts_with("Added cookie ") || remark.starts_with("Replaced cookie ");
    return isCookie ? findBetween(remark, "=\"", "\" for domain ") : TextRanges();
}

/// "Server auth using Basic with user 'name'", where the name may be a token that was given as one.
TextRanges findUserInRemark(std::string_view remark) {
    return findBetween(remark, " with user '", "'");
}

/// A proxy may be given without a scheme: "Uses proxy env variable http_proxy == 'user:password@host'".
TextRanges findProxyInRemark(std::string_view remark) {
    const bool isProxy =
        remark.starts_with("Uses proxy env variable ") || remark.starts_with("Unsupported proxy ");
    const bool hasUserInfo = remark.find('@') != npos || mayBeCut(remark);
    return isProxy && hasUserInfo ? findBetween(remark, "'", "@") : TextRanges();
}

/// The last URL of a remark that was cut before the host.
TextRanges findCutURLInRemark(std::string_view remark) {
    const std::size_t found = mayBeCut(remark) ? remark.rfind("://") : npos;
    const std::size_t begin = found == npos ? npos : skipSlashes(remark, found + 1);
    const bool hasEnd = begin == npos || remark.find_first_of("/?#@", begin) != npos;
    return hasEnd ? TextRanges() : toRanges({begin, remark.size()});
}

TextRanges findInRemarkLine(std::string_view line) {
    TextRanges ranges = findSecretHeaderInRemark(line);
    const TextRanges urls = findURLCredentials(line);
    ranges.insert(ranges.end(), urls.begin(), urls.end());
    return ranges;
}

/// Headers and URLs, which have no line ends in them.
TextRanges findInRemarkLines(std::string_view remark) {
    TextRanges ranges;
    for (std::size_t begin = 0; begin < remark.size();) {
        const std::size_t end = std::min(remark.find('\n', begin), remark.size());
        for (const TextRange& found : findInRemarkLine(remark.substr(begin, end - begin))) {
            ranges.push_back({begin + found.begin, begin + found.end});
        }
        begin = end + 1;
    }
    return ranges;
}

// ---- commands --------------------------------------------------------------------------------------------

/// An HTTP method may be called as a command is: "AUTH /path HTTP/1.1".
bool isRequestLine(std::string_view line) {
    static constexpr std::string_view protocol = " HTTP/";
    const std::size_t target = std::min(line.find(' ') + 1, line.size());
    const std::string_view rest = line.substr(std::min(line.find(' ', target), line.size()));
    const std::string_view version = rest.substr(std::min(protocol.size(), rest.size()));
    return rest.starts_with(protocol) &&
           std::all_of(version.begin(), version.end(), [](char c) { return isDigit(c) || c == '.'; });
}

}  // namespace

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
    if (at != npos && colon < at && colon < url.find_first_of("/?#", authority) && authority < at) {
        ranges.push_back({authority, at});
    }
    return mergeRanges(std::move(ranges));
}

std::optional<std::size_t> findSecretHeaderValue(std::string_view line) {
    const std::size_t colon = line.find(':');
    if (colon == npos) {
        return std::nullopt;
    }
    const std::string_view name = trimRight(line.substr(0, colon));
    const bool isSecret = std::any_of(secretHeaders.begin(), secretHeaders.end(),
                                      [&](std::string_view secret) { return equalsNoCase(name, secret); });
    return isSecret ? std::optional(skipBlanks(line, colon + 1)) : std::nullopt;
}

TextRanges findHeaderURLCredentials(std::string_view line) {
    for (const std::string_view name : {"location:", "content-location:", "referer:"}) {
        if (startsWithNoCase(line, name)) {
            const std::size_t value = skipBlanks(line, name.size());
            const std::size_t authority = findAuthorityOfURL(line.substr(value));
            if (authority != npos) {
                return findURLCredentialsFrom(line, value + authority);
            }
        }
    }
    return findURLCredentials(line);
}

std::optional<TextRange> findPasswordArgument(std::string_view line) {
    if (!startsWithNoCase(line, "PASS ") && !startsWithNoCase(line, "ACCT ")) {
        return std::nullopt;
    }
    return TextRange{5, line.size()};
}

std::optional<TextRange> findLoginArgument(std::string_view line) {
    static constexpr std::string_view command = "AUTH ";
    if (!startsWithNoCase(line, command) || isRequestLine(line)) {
        return std::nullopt;
    }
    const std::string_view mechanism =
        line.substr(command.size(), line.find(' ', command.size()) - command.size());
    if (equalsNoCase(mechanism, "TLS") || equalsNoCase(mechanism, "SSL")) {
        return std::nullopt;
    }
    static constexpr std::size_t longestMechanism = 20;  // RFC 4422, 3.1
    const bool isMechanism = mechanism.size() <= longestMechanism &&
                             std::all_of(mechanism.begin(), mechanism.end(), isNameCharacter);
    const std::size_t begin = command.size() + (isMechanism ? mechanism.size() : 0);
    return TextRange{skipBlanks(line, begin), line.size()};
}

TextRanges findInfoCredentials(std::string_view remark) {
    TextRanges ranges;
    for (const auto& find :
         {findInRemarkLines, findCookieInRemark, findUserInRemark, findProxyInRemark, findCutURLInRemark}) {
        const TextRanges found = find(remark);
        ranges.insert(ranges.end(), found.begin(), found.end());
    }
    return mergeRanges(std::move(ranges));
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
