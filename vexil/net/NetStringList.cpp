#include "vexil/net/NetStringList.h"

#include <algorithm>
#include <new>
#include <string>
#include <utility>

namespace vexil {

CNetStringList::CNetStringList() = default;

CNetStringList::CNetStringList(const CNetStringList& other) : IBase(other), CBase(other) {
    for (const curl_slist* node = other.m_head.get(); node; node = node->next) {
        addUTF8(node->data);
    }
}

CNetStringList& CNetStringList::operator=(const CNetStringList& other) {
    CNetStringList copy(other);
    std::swap(m_head, copy.m_head);
    std::swap(m_tail, copy.m_tail);
    return *this;
}

CNetStringList::~CNetStringList() = default;

void CNetStringList::add(const String& entry) {
    addUTF8(entry.toUTF8());
}

void CNetStringList::addUTF8(std::string_view entry) {
    if (entry.find('\0') != std::string_view::npos) {
        throw CInvalidArgError("CNetStringList::add", "entry contains a NUL character");
    }
    // libcurl copies the text and needs a NUL after it. For most lines the stack has room for both.
    char onStack[256];
    if (entry.size() < sizeof onStack) {
        *std::copy(entry.begin(), entry.end(), onStack) = '\0';
        append(onStack);
    } else {
        append(std::string(entry).c_str());
    }
}

void CNetStringList::append(const char* entry) {
    // Appended to the last node: from the first one libcurl would walk over the whole list.
    curl_slist* list = curl_slist_append(m_tail, entry);
    if (!list) {
        throw std::bad_alloc();
    }
    if (!m_head) {
        m_head.reset(list);
        m_tail = list;
    } else {
        m_tail = m_tail->next;
    }
}

P<CNetStringList::CIterator> CNetStringList::createIterator() const {
    return new CIterator(m_head.get());
}

CNetStringList::CIterator::CIterator(const curl_slist* head) : m_head(head), m_current(head) {}

CNetStringList::CIterator::~CIterator() = default;

bool CNetStringList::CIterator::next() {
    if (!std::exchange(m_isBeforeFirst, false) && m_current) {
        m_current = m_current->next;
    }
    if (!m_current) {
        m_entry.clear();
        return false;
    }
    m_entry.assignUTF8(m_current->data);
    return true;
}

void CNetStringList::CIterator::reset() noexcept {
    m_current = m_head;
    m_isBeforeFirst = true;
}

}  // namespace vexil
