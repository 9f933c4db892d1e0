#pragma once

#include <string>

/// A large object in parts of 8 MiB, 8 at once, directly on libcurl: what a careful program does that tries
/// nothing again and compares nothing.
///
/// \param mebibytes  size of the object, a multiple of 8
void putInParts(const std::string& url, int mebibytes);
void getInParts(const std::string& url, int mebibytes);
