#include "vexil/net/NetHeaders.h"

#include "vexil/net/GlobalInit.h"
#include "zet/ASCII.h"

#include <array>

namespace vexil {

namespace {

/// A line of ASCII characters in memory of the stack, as most headers are.
class CASCIILine {
public:
    /// \return false if there is no room, or if the text has other characters
    bool append(std::wstring_view text) noexcept {
        if (text.size() > m_bytes.size() - m_size) {
            return false;
        }
        // Local: the compiler cannot know that the bytes do not overlap m_size.
        char* end = m_bytes.data() + m_size;
        wchar_t bits = 0;
        for (const wchar_t c : text) {
            bits |= c;
            *end++ = static_cast<char>(c);
        }
        m_size += text.size();
        return zet::isASCII(bits);
    }

    std::string_view view() const noexcept { return {m_bytes.data(), m_size}; }

private:
    std::array<char, 512> m_bytes;
    std::size_t m_size = 0;
};

}  // namespace

CNetHeaders::CNetHeaders() {
    CGlobalInit::get();
}

CNetHeaders::~CNetHeaders() = default;

void CNetHeaders::add(const String& name, const String& value) {
    static constexpr std::wstring_view separator = L": ";
    const std::wstring_view nameView = zet::trimmed(name.view());
    const std::wstring_view valueView = zet::trimmed(value.view());
    CASCIILine ascii;
    if (ascii.append(nameView) && ascii.append(separator) && ascii.append(valueView)) {
        m_lines.addUTF8(ascii.view());
        return;
    }
    String line(nameView);
    line.append(separator);
    line.append(valueView);
    m_lines.add(line);
}

P<CNetHeaders::CIterator> CNetHeaders::createIterator() const {
    return new CIterator(m_lines.createIterator());
}

void CNetHeaders::fillMap(TMap<String, String>& map) const {
    for (const P<CNetStringList::CIterator> line = m_lines.createIterator(); line->next();) {
        const auto [name, value] = splitEntry(line->getEntry().view());
        String key(name);
        key.makeLower();
        const auto [entry, isNew] = map.try_emplace(std::move(key), value);
        if (!isNew) {
            entry->second += L',';
            entry->second.append(value);
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
