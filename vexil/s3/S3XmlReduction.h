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

/// Reduces an XML document to the parts that are read: elements without attributes, and texts, in UTF-8.
/// Limits depth, number of elements and length of texts, so that wxXmlDocument parses the result quickly.
/// Elements and texts stay the same.
///
/// wxXmlDocument copies the whole text again for each further piece of it, such as a line end, destroys its
/// tree recursively, and prints messages about documents that it does not understand.
/// \param error  set on failure to the end of a message, usually "invalid XML."; unchanged on success
/// \return "" on failure
std::string reduceXml(std::string_view document, const char*& error);

}  // namespace vexil
