/// \file
/// Texts in the XML documents that the client sends.
#pragma once

#include "vexil/BaseTypes.h"

#include <string>
#include <string_view>

namespace vexil {

/// True if a text can be sent in a document: XML 1.0, 2.2 allows all its characters, and each is a character.
[[nodiscard]] bool isXmlText(const String& text);

/// Appends UTF-8. White space becomes references, because parsers may change or drop it otherwise.
void appendXmlText(std::string& document, std::string_view text);

}  // namespace vexil
