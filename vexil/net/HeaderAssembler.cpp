#include "vexil/net/HeaderAssembler.h"

#include "vexil/net/NetHeaders.h"

#include <utility>

namespace vexil {

namespace {

constexpr std::wstring_view endOfHeaders = L"\r\n";

}  // namespace

CHeaderAssembler::CHeaderAssembler() = default;

CHeaderAssembler::~CHeaderAssembler() = default;

void CHeaderAssembler::handleHeaderLine(const String& line) {
    if (m_isComplete) {
        return;
    }
    if (line.view() == endOfHeaders) {
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
    const auto [name, value] = CNetHeaders::splitEntry(line);
    m_lastName.assign(name);
    m_lastName.makeLower();
    const auto place = m_headers.lower_bound(m_lastName);
    if (place == m_headers.end() || place->first != m_lastName) {
        insertHeader(place, value);
        return;
    }
    String& stored = place->second;
    if (!stored.isEmpty()) {
        stored += L',';
    }
    stored.append(value);
}

void CHeaderAssembler::insertHeader(TMap<String, String>::iterator place, std::wstring_view value) {
    if (auto known = m_previousHeaders.extract(m_lastName)) {
        known.mapped().assign(value);
        m_headers.insert(place, std::move(known));
    } else {
        m_headers.try_emplace(place, m_lastName, value);
    }
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
    if (!m_headers.empty()) {
        m_headers.swap(m_previousHeaders);
        m_headers.clear();
    }
    m_lastName.clear();
    m_isComplete = false;
}

}  // namespace vexil
