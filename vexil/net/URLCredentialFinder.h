#pragma once

#include "vexil/net/TextRanges.h"

#include <cstddef>
#include <string_view>

namespace vexil {

// Find the secrets of URLs in one line without its line end. The ranges are in order, do not overlap, and are
// not empty.

/// "user:password" of every URL in a text, which may contain several URLs and other words. A URL is found by
/// its "://".
TextRanges findURLCredentials(std::string_view line);
/// The same for a text that is one URL, with or without a scheme, as libcurl reads it.
TextRanges findCredentialsOfURL(std::string_view url);
/// The same, and if a ":" (of a port or a password) is followed by an "@" anywhere, everything before the
/// last "@".
TextRanges findPossibleCredentialsOfURL(std::string_view url);
/// The same for a text that begins like a URL without slashes: "http:user:password@host".
TextRanges findCredentialsWithoutSlashes(std::string_view url);

using FindInURL = TextRanges (*)(std::string_view url);
/// The results of `find` for the words of a text that have a ":" before an "@". White space and quotes end a
/// word.
TextRanges findCredentialsInWords(std::string_view text, FindInURL find);

/// Values of secret query arguments ("X-Amz-Signature", "token", "password" and the like) of all URLs in a
/// text. White space ends a value.
TextRanges findSecretArguments(std::string_view text);
/// The same for a text that is one URL. A value may contain white space.
TextRanges findSecretArgumentsOfURL(std::string_view url);

/// Offset of user, host and port in a text that is one URL; npos if there is no slash before them. libcurl
/// accepts one slash.
std::size_t findAuthorityOfURL(std::string_view url);
/// True if the text after the first colon is not a port number. `host:` may then be `user:` before a password
/// with an unescaped "/", "?" or "#".
bool hasOddPort(std::string_view authority);

}  // namespace vexil
