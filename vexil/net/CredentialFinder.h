#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vexil {

/// What stands in place of a credential.
inline constexpr char strippedText[] = "~stripped~";

/// A part of a text: from its first byte to behind its last.
struct TextRange {
    std::size_t begin = 0;
    std::size_t end = 0;
};

using TextRanges = std::vector<TextRange>;

// Where credentials stand in one line, given without its line end. The ranges are in order, apart and not
// empty.

/// "user:password" of every URL in a text, which may be more than one and something beside.
TextRanges findURLCredentials(std::string_view line);
/// The same for a text that is one URL, also one without a scheme, as libcurl takes it.
TextRanges findCredentialsOfURL(std::string_view url);
/// The same, and where there is a ":" for a port or a password and an "@" anywhere behind it, all before the last "@".
TextRanges findPossibleCredentialsOfURL(std::string_view url);

/// Where the value of a header begins that is a credential as a whole; nothing for other lines.
std::optional<std::size_t> findSecretHeaderValue(std::string_view line);
/// Credentials of URLs in a header or command line.
TextRanges findHeaderURLCredentials(std::string_view line);

/// The argument of the FTP commands PASS and ACCT.
std::optional<TextRange> findPasswordArgument(std::string_view line);
/// What follows the mechanism of an SMTP AUTH command, possibly nothing (an empty range); nothing for other
/// lines, FTP's "AUTH TLS" among them.
std::optional<TextRange> findLoginArgument(std::string_view line);

/// Credentials in one of libcurl's own remarks, given whole without its last line end: it has further ones where
/// libcurl repeats a user name that does.
TextRanges findInfoCredentials(std::string_view remark);

/// Ranges in any order, which may overlap, made ordered and apart.
TextRanges mergeRanges(TextRanges ranges);

/// The text with each range replaced.
/// \param ranges  in order and apart
std::string stripRanges(std::string_view text, const TextRanges& ranges,
                        std::string_view replacement = strippedText);

}  // namespace vexil
