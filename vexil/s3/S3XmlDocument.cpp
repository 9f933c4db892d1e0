#include "vexil/s3/S3XmlDocument.h"

#include <wx/log.h>
#include <wx/mstream.h>
#include <wx/xml/xml.h>

namespace vexil {

namespace {

String toString(const wxString& text) {
    return text.ToStdWstring();
}

}  // namespace

CS3XmlDocument::CS3XmlDocument(const char* data, int length, const char* errorPrefix)
    : m_document(std::make_unique<wxXmlDocument>()) {
    // The parser would print its complaints to standard error.
    const wxLogNull silence;
    wxMemoryInputStream stream(data, length > 0 ? static_cast<std::size_t>(length) : 0);
    if (!m_document->Load(stream, "UTF-8", 0)) {
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

void forEachXmlChild(const wxXmlNode* node,
                     const std::function<void(const String& name, wxXmlNode* child)>& visit) {
    for (wxXmlNode* child = node->GetChildren(); child; child = child->GetNext()) {
        if (child->GetType() == wxXML_ELEMENT_NODE) {
            visit(getXmlName(child), child);
        }
    }
}

}  // namespace vexil
