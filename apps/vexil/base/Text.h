/// \file
/// Conversions between texts, paths, and numbers for display.
#pragma once

#include "vexil/BaseTypes.h"

#include <filesystem>
#include <string>
#include <string_view>

namespace vexil::app {

/// The path in an argument: UTF-8, on Linux any bytes.
std::filesystem::path toPath(const std::string& argument);
std::filesystem::path toPath(const String& text);

/// The reverse, with "/" between the names.
std::string toBytes(const std::filesystem::path& path);

/// A path as text, with "/".
/// \throws CError "its name is not UTF-8 text" if no text stands for the path
String toText(const std::filesystem::path& path);

/// A path for display: with "/", with bytes that are not text replaced, and control characters escaped.
String describe(const std::filesystem::path& path);

/// A text from outside for display: control characters, which could disturb a terminal, become "\x1B" and so
/// on.
String printable(const String& text);

/// The same for bytes: each byte that is not part of UTF-8 text also becomes "\xE4" and so on.
String printableBytes(std::string_view bytes);

/// A URL, or "user:password@host", for display: the part before the "@" becomes "***".
String withoutLogin(const String& url);

/// A message of libcurl for display: a proxy in it is shown without its login.
String withoutProxyLogin(const String& message);

/// The beginning of a text that a terminal shows in this many columns. Characters that may be two columns
/// wide count as two.
String cutToColumns(const String& text, int columns);

/// The text of an `errno` value.
String describeSystemError(int code);

/// "0 bytes", "999 bytes", "1.0 kB", "48.1 MB": decimal units, one digit after the point.
String formatBytes(int64 bytes);
/// "4,404,019".
String formatCount(int64 count);
/// "0.3 s", "2 min 05 s", "3 h 07 min".
String formatSeconds(double seconds);
/// "3 s", "2 min 05 s", "3 h 07 min": whole seconds, rounded up.
String formatWholeSeconds(double seconds);
/// "12.3 MB/s"; "-" if the time is 0.
String formatRate(int64 bytes, double seconds);
/// "1 file", "3 files", "2 retries": English plural unless the count is 1.
String formatNumberOf(int64 count, const char* noun);

}  // namespace vexil::app
