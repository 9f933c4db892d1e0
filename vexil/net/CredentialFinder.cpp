#include "vexil/net/CredentialFinder.h"

#include "vexil/net/URLCredentialFinder.h"
#include "zet/ASCII.h"

#include <algorithm>
#include <array>
#include <utility>

namespace vexil {

namespace {

constexpr std::size_t npos = std::string_view::npos;

/// Headers whose whole value is a credential.
constexpr std::array<std::string_view, 20> secretHeaders = {
    "authorization",
    "proxy-authorization",
    "authentication-info",
    "proxy-authentication-info",
    "cookie",
    "cookie2",
    "set-cookie",
    "set-cookie2",
    "x-amz-security-token",
    "x-amz-server-side-encryption-customer-key",
    "x-amz-copy-source-server-side-encryption-customer-key",
    "x-goog-encryption-key",
    "x-goog-copy-source-encryption-key",
    "x-auth-token",
    "x-auth-key",
    "x-api-key",
    "x-vault-token",
    "x-subject-token",
    "x-storage-token",
    "x-service-token",
};

/// Headers whose whole value is one URL.
constexpr std::array<std::string_view, 5> urlHeaders = {"location", "content-location", "referer",
                                                        "destination", "origin"};

/// Characters allowed in a header name; used to find its boundaries inside a libcurl message.
constexpr bool isNameCharacter(char c) {
    return zet::isAlphanumeric(c) || c == '-' || c == '_';
}

std::size_t skipSpaces(std::string_view text, std::size_t position) {
    return std::min(text.find_first_not_of(" \t", position), text.size());
}

std::string_view trimRight(std::string_view text) {
    return text.substr(0, text.find_last_not_of(" \t") + 1);
}

TextRanges toRanges(TextRange range) {
    return range.begin < range.end ? TextRanges{range} : TextRanges{};
}

template <std::size_t count>
bool isOneOf(std::string_view name, const std::array<std::string_view, count>& names) {
    return std::any_of(names.begin(), names.end(),
                       [&](std::string_view other) { return zet::equalsNoCase(name, other); });
}

// ---- headers ---------------------------------------------------------------------------------------------

/// A header line. Other lines have no name.
struct Header {
    std::string_view name;
    std::size_t value = 0;
};

Header splitHeader(std::string_view line) {
    const std::size_t colon = line.find(':');
    if (colon == npos) {
        return {};
    }
    return {trimRight(line.substr(0, colon)), skipSpaces(line, colon + 1)};
}

/// "user:password@" of URLs that libcurl may take as such without "://" before them.
TextRanges findUnusualURLs(const Header& header, std::string_view line) {
    TextRanges ranges;
    const std::string_view value = line.substr(header.value);
    if (isOneOf(header.name, urlHeaders)) {
        const std::size_t authority = findAuthorityOfURL(value);
        const TextRanges found =
            authority == npos ? findCredentialsWithoutSlashes(value) : findCredentialsOfURL(value);
        appendRanges(ranges, found, header.value);
        appendRanges(ranges, findSecretArgumentsOfURL(value), header.value);
    } else if (std::all_of(header.name.begin(), header.name.end(), isNameCharacter)) {
        appendRanges(ranges, findCredentialsInWords(value, findCredentialsWithoutSlashes), header.value);
    }
    return ranges;
}

// ---- libcurl's messages ----------------------------------------------------------------------------------

/// The name before a colon, anywhere in a line.
std::string_view findNameBefore(std::string_view line, std::size_t colon) {
    const std::string_view text = trimRight(line.substr(0, colon));
    std::size_t begin = text.size();
    while (begin > 0 && isNameCharacter(text[begin - 1])) {
        --begin;
    }
    return text.substr(begin);
}

/// The header of an HTTP/2 request: "h2h3 [authorization: Basic …]". A long message is cut and has no bracket
/// at its end.
TextRanges findSecretHeaderInMessage(std::string_view line) {
    for (std::size_t colon = line.find(':'); colon != npos; colon = line.find(':', colon + 1)) {
        if (isOneOf(findNameBefore(line, colon), secretHeaders)) {
            return toRanges({skipSpaces(line, colon + 1), line.size() - (line.ends_with(']') ? 1 : 0)});
        }
    }
    return {};
}

/// Whether libcurl may have cut the message. It keeps 255 bytes of an error (CURL_ERROR_SIZE) and 2047 bytes
/// of another message; version 8 and newer keep 2043 and add "...". The limits here are some bytes lower,
/// because the last bytes may look like a line end.
bool mayBeCut(std::string_view message) {
    return message.size() == 254 || message.size() == 255 || message.size() >= 2040;
}

/// The text after `before`, up to the last `after`, or to the end of a message that was cut.
TextRanges findBetween(std::string_view message, std::string_view before, std::string_view after) {
    const std::size_t found = message.find(before);
    if (found == npos) {
        return {};
    }
    const std::size_t begin = found + before.size();
    const std::size_t end = mayBeCut(message) ? npos : message.rfind(after);
    return toRanges({begin, end == npos || end < begin ? message.size() : end});
}

/// The cookie engine: "Added cookie name="value" for domain …".
TextRanges findCookieInMessage(std::string_view message) {
    const bool isCookie = message.starts_with("Added cookie ") || message.starts_with("Replaced cookie ");
    return isCookie ? findBetween(message, "=\"", "\" for domain ") : TextRanges();
}

/// "Server auth using Basic with user 'name'". The name may be a token.
TextRanges findUserInMessage(std::string_view message) {
    return findBetween(message, " with user '", "'");
}

/// A proxy may be given without a scheme: "Uses proxy env variable http_proxy == 'user:password@host'".
TextRanges findProxyInMessage(std::string_view message) {
    const bool isProxy =
        message.starts_with("Uses proxy env variable ") || message.starts_with("Unsupported proxy ");
    const bool hasUserInfo = message.find('@') != npos || mayBeCut(message);
    return isProxy && hasUserInfo ? findBetween(message, "'", "@") : TextRanges();
}

constexpr std::string_view quotedURLStart = " URL: '";

/// "Issue another request to this URL: 'http:user:password@host'". The URL comes from a server and may
/// contain white space and quotes.
TextRanges findQuotedURLInMessage(std::string_view message) {
    const TextRanges quoted = findBetween(message, quotedURLStart, "'");
    TextRanges ranges;
    for (const TextRange& range : quoted) {
        const std::string_view url = message.substr(range.begin, range.end - range.begin);
        const bool hasSlashes = findAuthorityOfURL(url) != npos;
        appendRanges(ranges, hasSlashes ? findCredentialsOfURL(url) : findCredentialsWithoutSlashes(url),
                     range.begin);
    }
    return ranges;
}

/// Whether the "@" after the user information may come after the end of the text. The text begins with user,
/// host and port.
bool mayLackAt(std::string_view text) {
    const std::size_t end = text.find_first_of("/?#");
    const std::string_view authority = text.substr(0, end);
    return end == npos || (authority.find('@') == npos && hasOddPort(authority));
}

/// Everything from there to the end of a message that was cut inside the login of a URL.
TextRanges findCutLogin(std::string_view message, std::size_t authority) {
    return mayLackAt(message.substr(authority)) ? toRanges({authority, message.size()}) : TextRanges();
}

/// The last URL of a message that was cut.
TextRanges findCutURLInMessage(std::string_view message) {
    if (!mayBeCut(message)) {
        return {};
    }
    TextRanges ranges;
    const std::size_t found = message.rfind("://");
    if (found != npos) {
        ranges = findCutLogin(message, message.find_first_not_of('/', found + 1));
    }
    const std::size_t quoted = message.find(quotedURLStart);
    if (quoted != npos) {
        const std::size_t begin = quoted + quotedURLStart.size();
        const std::size_t authority = findAuthorityOfURL(message.substr(begin));
        appendRanges(ranges, findCutLogin(message, begin + (authority == npos ? 0 : authority)));
    }
    return ranges;
}

TextRanges findInMessageLine(std::string_view line) {
    TextRanges ranges = findSecretHeaderInMessage(line);
    appendRanges(ranges, findURLCredentials(line));
    appendRanges(ranges, findCredentialsInWords(line, findCredentialsWithoutSlashes));
    appendRanges(ranges, findSecretArguments(line));
    return ranges;
}

/// Headers and URLs, which contain no line ends.
TextRanges findInMessageLines(std::string_view message) {
    TextRanges ranges;
    for (std::size_t begin = 0; begin < message.size();) {
        const std::size_t end = std::min(message.find('\n', begin), message.size());
        appendRanges(ranges, findInMessageLine(message.substr(begin, end - begin)), begin);
        begin = end + 1;
    }
    return ranges;
}

// ---- commands --------------------------------------------------------------------------------------------

/// The characters that servers may accept between the words of a command.
constexpr std::string_view commandSpaces = " \t\v\f\r";

std::size_t skipCommandSpaces(std::string_view line, std::size_t position) {
    return std::min(line.find_first_not_of(commandSpaces, position), line.size());
}

/// Position after the command and the white space character that follows it; npos for other lines.
std::size_t findArgument(std::string_view line, std::string_view command) {
    const std::size_t begin = skipCommandSpaces(line, 0);
    const std::size_t end = begin + command.size();
    const bool isCommand = end < line.size() && zet::startsWithNoCase(line.substr(begin), command) &&
                           commandSpaces.find(line[end]) != npos;
    return isCommand ? end + 1 : npos;
}

/// An HTTP method may have the same name as a command: "AUTH /path HTTP/1.1".
bool isRequestLine(std::string_view line) {
    static constexpr std::string_view protocol = " HTTP/";
    const std::size_t target = std::min(line.find(' ') + 1, line.size());
    const std::string_view rest = line.substr(std::min(line.find(' ', target), line.size()));
    const std::string_view version = rest.substr(std::min(protocol.size(), rest.size()));
    return rest.starts_with(protocol) &&
           std::all_of(version.begin(), version.end(), [](char c) { return zet::isDigit(c) || c == '.'; });
}

}  // namespace

std::optional<std::size_t> findSecretHeaderValue(std::string_view line) {
    const Header header = splitHeader(line);
    return isOneOf(header.name, secretHeaders) ? std::optional(header.value) : std::nullopt;
}

TextRanges findHeaderURLCredentials(std::string_view line) {
    TextRanges ranges = findURLCredentials(line);
    appendRanges(ranges, findUnusualURLs(splitHeader(line), line));
    appendRanges(ranges, findSecretArguments(line));
    return mergeRanges(std::move(ranges));
}

std::optional<TextRange> findPasswordArgument(std::string_view line) {
    for (const std::string_view command : {"PASS", "ACCT"}) {
        const std::size_t argument = findArgument(line, command);
        if (argument != npos) {
            return TextRange{argument, line.size()};
        }
    }
    return std::nullopt;
}

std::optional<TextRange> findLoginArgument(std::string_view line) {
    const std::size_t argument = findArgument(line, "AUTH");
    if (argument == npos || isRequestLine(line)) {
        return std::nullopt;
    }
    const std::size_t begin = skipCommandSpaces(line, argument);
    const std::size_t end = std::min(line.find_first_of(commandSpaces, begin), line.size());
    const std::string_view mechanism = line.substr(begin, end - begin);
    if (zet::equalsNoCase(mechanism, "TLS") || zet::equalsNoCase(mechanism, "SSL")) {
        return std::nullopt;
    }
    static constexpr std::size_t longestMechanism = 20;  // RFC 4422, 3.1
    const bool isMechanism = mechanism.size() <= longestMechanism &&
                             std::all_of(mechanism.begin(), mechanism.end(), isNameCharacter);
    return TextRange{isMechanism ? skipCommandSpaces(line, end) : begin, line.size()};
}

TextRanges findInfoCredentials(std::string_view message) {
    TextRanges ranges;
    for (const auto& find : {findInMessageLines, findCookieInMessage, findUserInMessage, findProxyInMessage,
                             findQuotedURLInMessage, findCutURLInMessage}) {
        appendRanges(ranges, find(message));
    }
    return mergeRanges(std::move(ranges));
}

TextRanges findSecretsOfURL(std::string_view url) {
    TextRanges ranges = findCredentialsOfURL(url);
    appendRanges(ranges, findSecretArgumentsOfURL(url));
    return mergeRanges(std::move(ranges));
}

}  // namespace vexil
