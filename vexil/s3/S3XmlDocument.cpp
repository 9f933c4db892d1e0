#include "vexil/s3/S3XmlDocument.h"

#include "vexil/s3/S3XmlElements.h"
#include "vexil/s3/S3XmlReduction.h"

#include <wx/mstream.h>
#include <wx/xml/xml.h>

#include <string>
#include <utility>

namespace vexil {

namespace {

String toString(const wxString& text) {
    return text.ToStdWstring();
}

std::unique_ptr<wxXmlNode> makeXmlTree(const CS3XmlElement& element) {
    const auto toWxString = [](std::string_view text) { return wxString(String::fromUTF8(text).c_str()); };
    auto node = std::make_unique<wxXmlNode>(wxXML_ELEMENT_NODE, toWxString(element.getName()));
    wxXmlNode* last = nullptr;
    const auto add = [&](std::unique_ptr<wxXmlNode> child) {
        wxXmlNode* const added = child.release();
        node->InsertChildAfter(added, last);
        last = added;
    };
    const auto addText = [&](std::string_view text) {
        add(std::make_unique<wxXmlNode>(wxXML_TEXT_NODE, L"text", toWxString(text)));
    };
    const std::size_t first = element.getFirstText().toUTF8().size();
    const std::string_view texts = element.getBytes();
    if (!texts.empty()) {
        addText(texts.substr(0, first));  // may be empty
        addText(texts.substr(first));
    }
    element.forEachChild([&add](const CS3XmlElement& child) { add(makeXmlTree(child)); });
    return node;
}

}  // namespace

void checkXmlLength(std::size_t length, int maxLength, const char* errorPrefix) {
    if (std::cmp_greater(length, maxLength)) {
        throw CError(String(errorPrefix) + "the document is longer than " + String::fromInt(maxLength) +
                     " bytes.");
    }
}

CS3XmlDocument::CS3XmlDocument(const char* data, int length, int maxLength, const char* errorPrefix,
                               S3XmlWhiteSpace whiteSpace)
    : m_document(std::make_unique<wxXmlDocument>()) {
    const std::size_t size = length > 0 ? static_cast<std::size_t>(length) : 0;
    checkXmlLength(size, maxLength, errorPrefix);
    const char* error = nullptr;
    const std::string reduced = reduceXml({data, size}, error);
    if (error) {
        throw CError(String(errorPrefix) + error);
    }
    const int flags = whiteSpace == S3XmlWhiteSpace::Kept ? wxXMLDOC_KEEP_WHITESPACE_NODES : 0;
    wxMemoryInputStream stream(reduced.data(), reduced.size());
    // It prints nothing about a valid document; its other messages can only be silenced globally.
    // The encoding is a wide text because converting a narrow one leaks if memory runs out.
    if (!m_document->Load(stream, L"UTF-8", flags)) {
        throw CError(String(errorPrefix) + "invalid XML.");
    }
    m_root = m_document->GetRoot();
    if (!m_root) {
        throw CError(String(errorPrefix) + "no root element.");
    }
}

CS3XmlDocument::~CS3XmlDocument() = default;

String getXmlName(const wxXmlNode* node) {
    return toString(node->GetName());
}

String getXmlText(const wxXmlNode* node) {
    return toString(node->GetNodeContent());
}

String getXmlWholeText(const wxXmlNode* node) {
    String text;
    for (const wxXmlNode* child = node->GetChildren(); child; child = child->GetNext()) {
        if (child->GetType() == wxXML_TEXT_NODE || child->GetType() == wxXML_CDATA_SECTION_NODE) {
            text += toString(child->GetContent());
        }
    }
    return text;
}

void forEachXmlChild(const wxXmlNode* node,
                     const std::function<void(const String& name, wxXmlNode* child)>& visit) {
    for (wxXmlNode* child = node->GetChildren(); child; child = child->GetNext()) {
        if (child->GetType() == wxXML_ELEMENT_NODE) {
            visit(getXmlName(child), child);
        }
    }
}

void callWithXmlTree(const CS3XmlElement& element, const std::function<void(wxXmlNode* tree)>& visit) {
    visit(makeXmlTree(element).get());
}

// ---- tables made of trees --------------------------------------------------------------------------------

CS3XmlElements::CS3XmlElements(const wxXmlNode* root) : m_whiteSpace(S3XmlWhiteSpace::Kept) {
    constexpr int levelsBelow = 3;
    addTree(root, levelsBelow);
}

void CS3XmlElements::addTree(const wxXmlNode* node, int levelsBelow) {
    beginElement(getXmlName(node).toUTF8());
    for (const wxXmlNode* child = node->GetChildren(); child; child = child->GetNext()) {
        const wxXmlNodeType type = child->GetType();
        if (type == wxXML_TEXT_NODE || type == wxXML_CDATA_SECTION_NODE) {
            beginCDATA();  // each node is a text of its own
            addText(toString(child->GetContent()).toUTF8());
            m_isTextOpen = false;
        } else if (type == wxXML_ELEMENT_NODE && levelsBelow > 0) {
            addTree(child, levelsBelow - 1);
        }
    }
    endElement({});
}

}  // namespace vexil
