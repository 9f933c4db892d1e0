/// \file
/// The names of parts: ".NAME.vexil-part-" and 16 hexadecimal digits, for incomplete files. Of a long NAME
/// they contain the beginning. With "-old" at the end it is a file that was to be replaced.
#pragma once

#include "vexil/BaseTypes.h"

#include <filesystem>
#include <optional>

namespace vexil::app {

/// Why a part on a server is not restored.
constexpr const char* leftPartReason =
    "it is a part of a file, or a file that was to be replaced, which a killed program has left";

/// The facts in the name of a part on a server.
struct PartName {
    String name;         ///< of the file; "" if the part contains only the beginning of it
    String digits;       ///< in lower case
    bool isOld = false;  ///< not a part, but the file that was to be replaced
};

/// The name, without its folder, of a part of a file.
/// \param digits  see makeRandomDigits() and makeDigitsFor()
std::filesystem::path makePartName(const std::filesystem::path& target, const String& digits);

/// Different digits at each call.
String makeRandomDigits(int count = 16);
/// Digits for a content: the same digits for the same text, which identifies the content.
String makeDigitsFor(const String& content);

/// Reads a name; nullopt if it is not the name of a part. Letter case is ignored.
std::optional<PartName> findPartName(const String& name);
/// Whether a name, without its folder, is the name of a part, also one with "-old".
bool isPartName(const std::filesystem::path& name);
/// Whether two parts, both without "-old", may belong to one file.
bool arePartsOfOneFile(const std::filesystem::path& first, const std::filesystem::path& second);

}  // namespace vexil::app
