#pragma once

#include "vexil/net/TextRanges.h"

#include <cstddef>
#include <optional>
#include <string_view>

namespace vexil {

// Where credentials stand in one line, given without its line end. The ranges are in order, apart and not empty.

/// Where the value of a header begins that is a credential as a whole; nothing for other lines.
std::optional<std::size_t> findSecretHeaderValue(std::string_view line);
/// Credentials of URLs in a header or command line.
TextRanges findHeaderURLCredentials(std::string_view line);

/// The argument of the FTP commands PASS and ACCT.
std::optional<TextRange> findPasswordArgument(std::string_view line);
/// What follows the mechanism of an SMTP AUTH command, possibly nothing (an empty range); nothing for other
/// lines, FTP's "AUTH TLS" among them.
std::optional<TextRange> findLoginArgument(std::string_view line);

/// Credentials in one of libcurl's own messages, given whole without its last line end: it has further ones where
/// libcurl repeats a user name that does.
TextRanges findInfoCredentials(std::string_view message);

/// What stands before the "@" of a text that is one URL, and the values of its secret arguments.
TextRanges findSecretsOfURL(std::string_view url);

}  // namespace vexil
