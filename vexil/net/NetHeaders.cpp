#include "vexil/net/NetHeaders.h"

#include "vexil/net/GlobalInit.h"

namespace vexil {

CNetHeaders::CNetHeaders() {
    CGlobalInit::get();
}

CNetHeaders::~CNetHeaders() = default;

void CNetHeaders::add(const String& name, const String& value) {
    String line = name.trimmed();
    line += ": ";
    line.append(zet::trimmed(value.view()));
    m_lines.add(line);
}

P<CNetHeaders::CIterator> CNetHeaders::createIterator() const {
    return new CIterator(m_lines.createIterator());
}

void CNetHeaders::fillMap(TMap<String, String>& map) const {
    for (const P<CIterator> header = createIterator(); header->next();) {
        const auto [entry, isNew] = map.try_emplace(header->getName().toLower(), header->getValue());
        if (!isNew) {
            entry->second += L',';
            entry->second += header->getValue();
        }
    }
}

void CNetHeaders::splitEntry(const String& entry, String& name, String& value) {
    const auto [nameView, valueView] = splitEntry(entry.view());
    // Both copies are made before an assignment: `name` or `value` may be `entry` itself.
    String nameText(nameView);
    String valueText(valueView);
    name = std::move(nameText);
    value = std::move(valueText);
}

std::pair<std::wstring_view, std::wstring_view> CNetHeaders::splitEntry(std::wstring_view entry) {
    const std::size_t colon = entry.find(L':');
    if (colon == std::wstring_view::npos) {
        throw CInvalidArgError("CNetHeaders::splitEntry", "entry contains no ':'");
    }
    const std::wstring_view name = zet::trimmed(entry.substr(0, colon));
    if (name.empty()) {
        throw CInvalidArgError("CNetHeaders::splitEntry", "name is empty");
    }
    return {name, zet::trimmed(entry.substr(colon + 1))};
}

CNetHeaders::CIterator::CIterator(const P<CNetStringList::CIterator>& lines) : m_lines(lines) {}

CNetHeaders::CIterator::~CIterator() = default;

bool CNetHeaders::CIterator::next() {
    if (!m_lines->next()) {
        m_name.clear();
        m_value.clear();
        return false;
    }
    splitEntry(m_lines->getEntry(), m_name, m_value);
    return true;
}

void CNetHeaders::CIterator::reset() noexcept {
    m_lines->reset();
}

}  // namespace vexil
