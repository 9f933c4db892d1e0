#include "vexil/net/HeaderAssembler.h"

#include "vexil/net/NetHeaders.h"

namespace vexil {

CHeaderAssembler::CHeaderAssembler() = default;

CHeaderAssembler::~CHeaderAssembler() = default;

void CHeaderAssembler::handleHeaderLine(const String& line) {
    if (m_isComplete) {
        return;
    }
    if (line == "\r\n") {
        m_isComplete = true;
        if (m_serverInfo) {
            m_serverInfo->updateFromHeaders(m_headers);
        }
        return;
    }
    if (line.isEmpty() || !zet::isWhiteSpace(line[0])) {
        addHeader(line.view());
    } else {
        continueHeader(line.view());
    }
}

void CHeaderAssembler::addHeader(std::wstring_view line) {
    const auto [nameView, value] = CNetHeaders::splitEntry(line);
    String name(nameView);
    name.makeLower();
    m_lastName = name;
    String& stored = m_headers[std::move(name)];
    if (!stored.isEmpty()) {
        stored += L',';
    }
    stored.append(value);
}

void CHeaderAssembler::continueHeader(std::wstring_view line) {
    if (m_lastName.isEmpty()) {
        throw CError("Error parsing HTTP header: first line starts with whitespace.");
    }
    String& stored = m_headers[m_lastName];
    stored += L' ';
    stored.append(zet::trimmed(line));
}

void CHeaderAssembler::reset() {
    m_headers.clear();
    m_lastName.clear();
    m_isComplete = false;
}

}  // namespace vexil
