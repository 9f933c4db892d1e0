#pragma once

#include "zet/Containers.h"
#include "zet/Export.h"
#include "zet/String.h"

#include <utility>

namespace zet {

/// List of named text values, in the order in which the names were first added. A plain value.
class ZET_API CProps {
public:
    /// Name and value.
    using Entry = std::pair<String, String>;

    /// Adds a value. If the name exists, its value is replaced and keeps its position. Names compare exactly.
    void add(const String& name, const String& value);
    /// Calls add() if the condition is true.
    void addCond(bool condition, const String& name, const String& value);

    /// The value of a name; "" if the name does not exist.
    [[nodiscard]] String lookup(const String& name) const;
    /// True if the name exists, even with an empty value.
    [[nodiscard]] bool has(const String& name) const noexcept { return find(name) != nullptr; }

    /// True if there are no entries.
    [[nodiscard]] bool isEmpty() const noexcept { return m_entries.empty(); }
    /// Number of entries.
    [[nodiscard]] int getCount() const noexcept { return static_cast<int>(m_entries.size()); }
    /// The entries in their order; valid until the list is changed.
    [[nodiscard]] const TArray<Entry>& getEntries() const noexcept { return m_entries; }
    /// The values by name.
    [[nodiscard]] TMap<String, String> getMap() const { return {m_entries.begin(), m_entries.end()}; }

private:
    const Entry* find(const String& name) const noexcept;

    TArray<Entry> m_entries;
};

}  // namespace zet
