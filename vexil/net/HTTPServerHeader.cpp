#include "vexil/net/HTTPServerHeader.h"

#include <algorithm>

namespace vexil {

CHTTPServerHeader::CHTTPServerHeader(const String& header) : m_header(header) {
    for (std::size_t position = 0; position < header.length();) {
        const std::size_t end = std::min(header.find(L' ', position), header.length());
        if (end > position) {
            addComponent(header.substr(position, end - position));
        }
        position = end + 1;
    }
}

CHTTPServerHeader::~CHTTPServerHeader() = default;

void CHTTPServerHeader::addComponent(const String& token) {
    const std::size_t slash = token.find(L'/');
    m_versions[token.substr(0, slash)] = slash == String::npos ? String() : token.substr(slash + 1);
}

bool CHTTPServerHeader::hasComponent(const String& name) const {
    return m_versions.contains(name);
}

String CHTTPServerHeader::getComponentVersion(const String& name) const {
    const auto found = m_versions.find(name);
    return found == m_versions.end() ? String() : found->second;
}

}  // namespace vexil
