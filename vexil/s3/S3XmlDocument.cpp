#include "vexil/s3/S3XmlDocument.h"

#include "zet/Mutex.h"

#include <wx/log.h>
#include <wx/mstream.h>
#include <wx/xml/xml.h>

#include <string_view>

namespace vexil {

namespace {

// The answers of the service have four levels. The parser's tree is taken down recursively: a document of a
// hundred thousand levels, from a gateway gone wrong or from an attacker, would overflow the stack.
constexpr int maxDepth = 1000;

String toString(const wxString& text) {
    return text.ToStdWstring();
}

/// Counts tags as text, in one pass: comments and CDATA sections that are full of tags count as well.
bool isNestedTooDeeply(std::string_view bytes) {
    int depth = 0;
    bool isInOpeningTag = false;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (bytes[i] == '<') {
            const char kind = i + 1 < bytes.size() ? bytes[i + 1] : '/';
            isInOpeningTag = kind != '/' && kind != '!' && kind != '?';
            depth += isInOpeningTag ? 1 : kind == '/' ? -1 : 0;
        } else if (bytes[i] == '>' && isInOpeningTag) {
            isInOpeningTag = false;
            depth -= bytes[i - 1] == '/' ? 1 : 0;
        }
        if (depth > maxDepth) {
            return true;
        }
    }
    return false;
}

bool load(wxXmlDocument& document, std::string_view bytes, int flags) {
    // The parser would print its complaints to standard error. Without an application object wxWidgets takes
    // every thread for the main one, whose switch is global.
    static zet::CMutex mutex;
    const zet::CMutexLock lock(mutex);
    const wxLogNull silence;
    wxMemoryInputStream stream(bytes.data(), bytes.size());
    // A wide text: the conversion of another leaks where memory runs out in it.
    return document.Load(stream, L"UTF-8", flags);
}

}  // namespace

CS3XmlDocument::CS3XmlDocument(const char* data, int length, const char* errorPrefix,
                               S3XmlWhiteSpace whiteSpace)
    : m_document(std::make_unique<wxXmlDocument>()) {
    const std::string_view bytes(data, length > 0 ? static_cast<std::size_t>(length) : 0);
    const int flags = whiteSpace == S3XmlWhiteSpace::Kept ? wxXMLDOC_KEEP_WHITESPACE_NODES : 0;
    if (isNestedTooDeeply(bytes) || !load(*m_document, bytes, flags)) {
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
