/// \file
/// Texts from outside, for messages to people.
#pragma once

#include "zet/Export.h"
#include "zet/String.h"

#include <filesystem>

namespace zet {

/// A text for display: control characters, which could disturb a terminal or a log, become "\x1B" and so on.
[[nodiscard]] ZET_API String toDisplayText(const String& text);

/// A path for display: with "/" between the names, bytes that are not text replaced (U+FFFD), and control
/// characters as above. It may not lead to the file again. A function of its own name: a text literal would
/// fit a path as well as a String.
[[nodiscard]] ZET_API String toDisplayPath(const std::filesystem::path& path);

/// The text of an `errno` value, in English; "unknown error" for 0.
[[nodiscard]] ZET_API String describeSystemError(int code);

}  // namespace zet
