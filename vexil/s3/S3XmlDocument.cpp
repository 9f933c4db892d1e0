#include "vexil/s3/S3XmlDocument.h"

#include "vexil/s3/S3XmlReduction.h"

#include <wx/mstream.h>
#include <wx/xml/xml.h>

#include <string>

namespace vexil {

namespace {

String toString(const wxString& text) {
    return text.ToStdWstring();
}

}  // namespace

CS3XmlDocument::CS3XmlDocument(const char* data, int length, int maxLength, const char* errorPrefix,
                               S3XmlWhiteSpace whiteSpace)
    : m_document(std::make_unique<wxXmlDocument>()) {
    if (length > maxLength) {
        throw CError(String(errorPrefix) + "the document is longer than " + String::fromInt(maxLength) +
                     " bytes.");
    }
    const char* error = nullptr;
    const std::string reduced = reduceXml({data, length > 0 ? static_cast<std::size_t>(length) : 0}, error);
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

}  // namespace vexil
