/// \file
/// Between texts, paths and numbers for people.
#pragma once

#include "vexil/BaseTypes.h"

#include <filesystem>
#include <string>
#include <string_view>

namespace vexil::app {

/// The path that an argument names: UTF-8, on Linux any bytes.
std::filesystem::path toPath(const std::string& argument);
std::filesystem::path toPath(const String& text);

/// A path as text, with "/".
/// \throws CError "its name is not UTF-8 text" for one that no text leads to
String toText(const std::filesystem::path& path);

/// A path for people: with "/", what is no text replaced, control characters escaped.
String describe(const std::filesystem::path& path);

/// A text from elsewhere for people: control characters, with which a terminal could be led astray, become
/// "\x1B" and the like.
String printable(const String& text);

/// The same for bytes: each one that is not part of UTF-8 text becomes "\xE4" and the like, too.
String printableBytes(std::string_view bytes);

/// A URL, or "user:password@host", for people: what stands before the "@" becomes "***".
String withoutLogin(const String& url);

/// A message of libcurl for people: where it repeats a proxy, that is without its login.
String withoutProxyLogin(const String& message);

/// As much of a text as a terminal shows in so many columns. Characters that may take two are taken to do so.
String cutToColumns(const String& text, int columns);

/// The text of an `errno` value.
String describeSystemError(int code);

/// "0 bytes", "999 bytes", "1.0 kB", "48.1 MB": decimal units, one digit behind the full stop.
String formatBytes(int64 bytes);
/// "4,404,019".
String formatCount(int64 count);
/// "0.3 s", "2 min 05 s", "3 h 07 min".
String formatSeconds(double seconds);
/// "3 s", "2 min 05 s", "3 h 07 min": whole seconds, rounded up.
String formatWholeSeconds(double seconds);
/// "12.3 MB/s"; "-" for no time at all.
String formatRate(int64 bytes, double seconds);
/// "1 file", "3 files", "2 retries": English plural unless the count is 1.
String formatNumberOf(int64 count, const char* noun);

}  // namespace vexil::app
