#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vexil {

/// The longest response to a copy, or error document, in bytes.
inline constexpr int maxErrorDocumentBytes = 1 << 20;
/// The longest page of a listing.
inline constexpr int maxListingBytes = 64 << 20;
/// The longest text within one element, in UTF-8.
inline constexpr std::size_t maxXmlTextBytes = 64 * 1024;

/// An XML document reduced to what is read of it: in UTF-8, the elements without their attributes, and the texts, where
/// nothing in them, nor their number, can keep wxXmlDocument busy for long. The tree of the reduced document has the same
/// elements and texts.
///
/// wxXmlDocument copies all of a text for each further piece of it, such as the end of a line, takes its tree down
/// recursively, and prints what it does not understand.
/// \param error  becomes what is wrong: a sentence without its beginning, "invalid XML." for most; unchanged otherwise
/// \return "" when something is wrong
std::string reduceXml(std::string_view document, const char*& error);

}  // namespace vexil
