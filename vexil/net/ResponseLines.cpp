#include "vexil/net/ResponseLines.h"

namespace vexil {

void CResponseLines::add(std::string_view line) {
    if (line.find('\0') != std::string_view::npos) {
        throw CInvalidArgError("CNetStringList::add", "entry contains a NUL character");
    }
    if (m_list) {
        m_list->addUTF8(line);
    }
    // Without the rest of a line for which there was no memory.
    m_bytes.resize(m_ends.empty() ? 0 : m_ends.back());
    m_bytes += line;
    m_ends.push_back(m_bytes.size());
}

void CResponseLines::clear() noexcept {
    m_bytes.clear();
    m_ends.clear();
    m_list = nullptr;
}

std::string_view CResponseLines::getLast() const noexcept {
    const std::size_t count = m_ends.size();
    const std::size_t start = count < 2 ? 0 : m_ends[count - 2];
    return count == 0 ? std::string_view() : std::string_view(m_bytes).substr(start, m_ends.back() - start);
}

const CNetStringList& CResponseLines::getList() const {
    if (!m_list) {
        const P<CNetStringList> list = new CNetStringList;
        forEach([&list](std::string_view line) { list->addUTF8(line); });
        m_list = list;
    }
    return *m_list;
}

}  // namespace vexil
