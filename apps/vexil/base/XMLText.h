#pragma once

#include "vexil/BaseTypes.h"
#include "zet/XMLElement.h"

#include <string>

namespace vexil::app {

/// A copy of a text in which each character that XML 1.0 does not allow, such as most control characters, is
/// U+FFFD.
String withXMLCharactersOnly(const String& text);

/// An element with everything below it, as XML 1.0 in UTF-8, without a declaration, with a line end at the
/// end. Names must be XML names; texts and values may contain any characters.
/// \throws CError if the text cannot be made
std::string toXML(const zet::CXMLElement& element);

}  // namespace vexil::app
