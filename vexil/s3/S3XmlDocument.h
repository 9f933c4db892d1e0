/// \file
/// The only code that uses wxWidgets' XML classes.
#pragma once

#include "vexil/BaseTypes.h"

#include <functional>
#include <memory>

class wxXmlDocument;
class wxXmlNode;

namespace vexil {

/// What happens to texts that are only white space.
enum class S3XmlWhiteSpace { Dropped, Kept };

/// \throws CError with the prefix if a document is too long
void checkXmlLength(std::size_t length, int maxLength, const char* errorPrefix);

/// An XML document read from memory.
class CS3XmlDocument {
public:
    /// \param maxLength  the longest document, in bytes
    /// \throws CError with the prefix and "invalid XML.", "no root element.", or a message that the document
    ///         or a text (maxXmlTextBytes) is too long
    CS3XmlDocument(const char* data, int length, int maxLength, const char* errorPrefix,
                   S3XmlWhiteSpace whiteSpace = S3XmlWhiteSpace::Dropped);
    ~CS3XmlDocument();
    CS3XmlDocument(const CS3XmlDocument&) = delete;
    CS3XmlDocument& operator=(const CS3XmlDocument&) = delete;

    /// Never null; lives as long as the document.
    wxXmlNode* getRoot() const noexcept { return m_root; }

private:
    std::unique_ptr<wxXmlDocument> m_document;
    wxXmlNode* m_root;
};

String getXmlName(const wxXmlNode* node);

/// The first piece of text directly inside the element, as the parser split it; "" if there is none.
String getXmlText(const wxXmlNode* node);

/// All pieces of text directly inside the element.
String getXmlWholeText(const wxXmlNode* node);

class CS3XmlElement;
/// Calls back with a tree of an element and what is inside it.
void callWithXmlTree(const CS3XmlElement& element, const std::function<void(wxXmlNode* tree)>& visit);

/// Calls back for each direct child that is an element, in document order.
void forEachXmlChild(const wxXmlNode* node,
                     const std::function<void(const String& name, wxXmlNode* child)>& visit);

}  // namespace vexil
