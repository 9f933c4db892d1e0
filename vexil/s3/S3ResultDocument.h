#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/s3/S3XmlElements.h"

#include <string_view>

namespace vexil {

/// The bytes of a response as text.
std::string_view getText(const TBuffer<unsigned char>& body);

/// \throws CS3Error with status 0 if the root of a document is that of an error
void throwIfXmlError(const CS3XmlElement& root);

/// The document of a successful response: the result of an operation, or an error, because a service may
/// begin its response before it knows the outcome.
class CS3ResultDocument {
public:
    /// \param body       white space before the document is ignored: services that take long send it
    /// \param operation  for messages: "list parts"
    /// \param maxLength  the longest document, in bytes
    /// \throws CS3Error with status 0 if the document is an error
    /// \throws CError that begins with "Error parsing Amazon S3 '...' result: " for any other document
    CS3ResultDocument(std::string_view body, const char* operation, const char* rootName, int maxLength);

    /// Valid as long as the document.
    CS3XmlElement getRoot() const noexcept { return m_elements.getRoot(); }

    /// The text of the last direct child with this name; "" if no child has it.
    String findText(const char* name) const;
    /// \throws CError for anything but "true" and "false", in any case
    bool parseBoolean(const CS3XmlElement& element) const;
    /// \throws CError that begins as those of the constructor
    [[noreturn]] void fail(const String& message) const;

private:
    String m_errorPrefix;
    CS3XmlElements m_elements;
};

}  // namespace vexil
