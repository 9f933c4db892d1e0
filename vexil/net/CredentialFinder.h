#pragma once

#include "vexil/net/TextRanges.h"

#include <cstddef>
#include <optional>
#include <string_view>

namespace vexil {

// Find credentials in one line without its line end. The ranges are in order, do not overlap, and are not
// empty.

/// Offset of the header value if the whole value is a credential; nullopt otherwise.
std::optional<std::size_t> findSecretHeaderValue(std::string_view line);
/// Credentials of URLs in a header or command line.
TextRanges findHeaderURLCredentials(std::string_view line);

/// The argument of the FTP commands PASS and ACCT.
std::optional<TextRange> findPasswordArgument(std::string_view line);
/// The text after the mechanism of an SMTP AUTH command, which may be empty; nullopt for other lines, and for
/// FTP's "AUTH TLS".
std::optional<TextRange> findLoginArgument(std::string_view line);

/// Credentials in one of libcurl's own messages. Pass the whole message without its final newline. Newlines
/// inside it come from a user name that libcurl quotes.
TextRanges findInfoCredentials(std::string_view message);

/// The part before the "@" of a text that is one URL, and the values of its secret arguments.
TextRanges findSecretsOfURL(std::string_view url);

}  // namespace vexil
