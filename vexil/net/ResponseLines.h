#pragma once

#include "vexil/net/NetStringList.h"

#include <string>
#include <string_view>
#include <vector>

namespace vexil {

/// The lines of a transfer as received. They become a list only when somebody asks for it: nobody does after
/// most transfers. One thread at a time.
class CResponseLines {
public:
    /// \throws CInvalidArgError for a line with a NUL, as CNetStringList
    void add(std::string_view line);
    void clear() noexcept;

    /// Calls a function with each line.
    template <class Function>
    void forEach(Function function) const {
        std::size_t start = 0;
        for (const std::size_t end : m_ends) {
            function(std::string_view(m_bytes).substr(start, end - start));
            start = end;
        }
    }

    /// "" without lines.
    std::string_view getLast() const noexcept;
    /// The list is the same until clear(), and gets further lines.
    const CNetStringList& getList() const;

private:
    std::string m_bytes;               // of all lines; kept for its memory
    std::vector<std::size_t> m_ends;   // of each line in m_bytes; kept for its memory
    mutable P<CNetStringList> m_list;  // null until somebody asks for it
};

}  // namespace vexil
