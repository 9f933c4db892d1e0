/// \file
/// Names in listings that XML, or a text, cannot represent.
#pragma once

#include "vexil/BaseTypes.h"

#include <string>
#include <string_view>

namespace vexil {

/// The name of an object or a folder in a listing.
struct CS3ListedName {
    std::string bytes;  ///< the name as the service stores it, as far as this is known
    String text;        ///< the name as text; if it is not readable, with replacement characters for people
    bool isReadable;    ///< true if the text is certainly the name
};

/// The text of a listing for the parser. Escapes what XML 1.0 does not allow: control characters, U+FFFE,
/// bytes that are not UTF-8, also as character references; in names also carriage returns, which a parser
/// changes. readListedName() reverses this. A document that declares an encoding other than UTF-8 is not
/// changed.
/// \param operation  for messages: "list objects"
/// \param memory     empty; keeps the text if it differs from the document
/// \throws CError if it is longer than maxListingBytes
std::string_view makeListing(std::string_view document, const char* operation, std::string& memory);

/// Reads a name from a document that makeListing() returned.
/// \param text          text of the element, in UTF-8
/// \param isURLEncoded  true if the service says that it has percent-encoded the names
CS3ListedName readListedName(std::string_view text, bool isURLEncoded);

/// Percent-encodes bytes for a query.
String escapeBytes(std::string_view bytes);

}  // namespace vexil
