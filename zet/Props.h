#pragma once

#include "zet/Containers.h"
#include "zet/Export.h"
#include "zet/String.h"

#include <utility>

namespace zet {

/// Ordered list of named text values, in the order in which the names were first added. A plain value.
class ZET_API CProps {
public:
    /// Name and value.
    using Entry = std::pair<String, String>;

    /// Adds a value, or replaces the one stored under the same name in its place. Names compare exactly.
    void add(const String& name, const String& value);
    /// add(), only when the condition holds.
    void addCond(bool condition, const String& name, const String& value);

    /// The value stored under a name, "" when there is none.
    String lookup(const String& name) const;
    /// Tells an absent value from an empty one.
    bool has(const String& name) const noexcept { return find(name) != nullptr; }

    /// Whether there are no entries.
    bool isEmpty() const noexcept { return m_entries.empty(); }
    /// Number of entries.
    int getCount() const noexcept { return static_cast<int>(m_entries.size()); }
    /// The entries in their order; valid until the list is changed.
    const TArray<Entry>& getEntries() const noexcept { return m_entries; }
    /// The values by name.
    TMap<String, String> getMap() const { return {m_entries.begin(), m_entries.end()}; }

private:
    const Entry* find(const String& name) const noexcept;

    TArray<Entry> m_entries;
};

}  // namespace zet
