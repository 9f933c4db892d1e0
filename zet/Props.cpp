#include "zet/Props.h"

#include <algorithm>

namespace zet {

void CProps::add(const String& name, const String& value) {
    if (const Entry* entry = find(name)) {
        m_entries[static_cast<std::size_t>(entry - m_entries.data())].second = value;
    } else {
        m_entries.emplace_back(name, value);
    }
}

void CProps::addCond(bool condition, const String& name, const String& value) {
    if (condition) {
        add(name, value);
    }
}

String CProps::lookup(const String& name) const {
    const Entry* entry = find(name);
    return entry ? entry->second : String();
}

const CProps::Entry* CProps::find(const String& name) const noexcept {
    const auto found = std::find_if(m_entries.begin(), m_entries.end(),
                                    [&name](const Entry& entry) { return entry.first == name; });
    return found == m_entries.end() ? nullptr : &*found;
}

}  // namespace zet
