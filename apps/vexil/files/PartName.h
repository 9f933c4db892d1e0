/// \file
/// The names of parts: ".NAME.vexil-part-" and 16 hexadecimal digits, for files that are not complete. Of a long NAME they
/// have the beginning. With "-old" at the end it is a file that another one was to replace.
#pragma once

#include "vexil/BaseTypes.h"

#include <filesystem>
#include <optional>

namespace vexil::app {

/// Why a part on a server is not restored.
constexpr const char* leftPartReason =
    "it is a part of a file, or a file that was to be replaced, which a killed program has left";

/// What the name of a part on a server says.
struct PartName {
    String name;         ///< of the file; "" if the part has only the beginning of it
    String digits;       ///< in lower case
    bool isOld = false;  ///< it is not a part, but the file that was to be replaced
};

/// The name, without its folder, of a part of a file.
/// \param digits  see makeRandomDigits() and makeDigitsFor()
std::filesystem::path makePartName(const std::filesystem::path& target, const String& digits);

/// Other digits at each call.
String makeRandomDigits(int count = 16);
/// Digits for a content: the same ones at each call for the same text, which says what the content is.
String makeDigitsFor(const String& content);

/// What a name says; nothing if it is not the name of a part. Upper and lower case do not matter.
std::optional<PartName> findPartName(const String& name);
/// Whether a name, without its folder, is that of a part, also one with "-old".
bool isPartName(const std::filesystem::path& name);
/// Whether two parts, none of them with "-old", may be of one file.
bool arePartsOfOneFile(const std::filesystem::path& first, const std::filesystem::path& second);

}  // namespace vexil::app
