#pragma once

#include "vexil/BaseTypes.h"
#include "zet/XMLElement.h"

#include <string>

namespace vexil::app {

/// A text in which each character that XML 1.0 cannot hold, such as most control characters, is U+FFFD.
String withXMLCharactersOnly(const String& text);

/// An element with all below it as XML 1.0 in UTF-8, without a declaration, with a line end behind it. Names must be XML
/// names; texts and values may have any characters.
/// \throws CError when it cannot be made
std::string toXML(const zet::CXMLElement& element);

}  // namespace vexil::app
