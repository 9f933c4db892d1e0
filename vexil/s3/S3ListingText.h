/// \file
/// Names in listings that XML, or a text, cannot hold.
#pragma once

#include "vexil/BaseTypes.h"

#include <string>
#include <string_view>

namespace vexil {

/// The name of an object or a folder as a listing has it.
struct CS3ListedName {
    std::string bytes;  ///< as the service keeps it, as far as that can be told
    String text;        ///< the same; with replacements, for people, where it is not readable
    bool isReadable;    ///< whether the text is the name for certain
};

/// A document without what XML 1.0 cannot hold: control characters, U+FFFE, bytes that are not UTF-8, also as character
/// references; within names also carriage returns, which a parser changes. readListedName() finds the places. A document
/// that declares another encoding than UTF-8 stays as it is.
std::string makeWellFormed(std::string_view document);

/// Reads a name from a document that makeWellFormed() was applied to.
/// \param text          of the element
/// \param isURLEncoded  whether the service says that it has percent-encoded the names
CS3ListedName readListedName(const String& text, bool isURLEncoded);

/// Percent-encodes bytes for a query.
String escapeBytes(std::string_view bytes);

}  // namespace vexil
