#pragma once

#include "vexil/net/TextRanges.h"

#include <cstddef>
#include <string_view>

namespace vexil {

// Where the secrets of URLs stand in one line, given without its line end. The ranges are in order, apart and not empty.

/// "user:password" of every URL with "://" in a text, which may be more than one and something beside.
TextRanges findURLCredentials(std::string_view line);
/// The same for a text that is one URL, also one without a scheme, as libcurl takes it.
TextRanges findCredentialsOfURL(std::string_view url);
/// The same, and if there is a ":" for a port or a password and an "@" anywhere after it, all before the last "@".
TextRanges findPossibleCredentialsOfURL(std::string_view url);
/// The same for a text that begins like a URL without slashes: "http:user:password@host".
TextRanges findCredentialsWithoutSlashes(std::string_view url);

using FindInURL = TextRanges (*)(std::string_view url);
/// What `find` finds in the words of a text that have a ":" before an "@". White space and quotes end a word.
TextRanges findCredentialsInWords(std::string_view text, FindInURL find);

/// Values of the query arguments that are secrets ("X-Amz-Signature", "token", "password" and the like) of all URLs in a
/// text. White space ends a value.
TextRanges findSecretArguments(std::string_view text);
/// The same for a text that is one URL, where a value may hold white space.
TextRanges findSecretArgumentsOfURL(std::string_view url);

/// Where user, host and port begin in a text that is one URL; npos if it has no slashes before them. One slash is enough
/// for libcurl.
std::size_t findAuthorityOfURL(std::string_view url);
/// Whether the text after the first ":" of "host:port" is not a port: then "host:" may be "user:" of a password with a
/// "/", "?" or "#" that should have been escaped.
bool hasOddPort(std::string_view authority);

}  // namespace vexil
