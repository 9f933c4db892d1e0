#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/net/CurlHandles.h"

#include <string_view>

namespace vexil {

/// List of text lines for libcurl (curl_slist): request headers, FTP commands, mail recipients, protocol
/// replies. Entries are UTF-8, in insertion order, and may repeat.
///
/// Do not change the list of a request while a transfer runs. One thread at a time. Copies are deep.
class VEXIL_API CNetStringList : public virtual CBase {
public:
    class CIterator;

    CNetStringList();
    CNetStringList(const CNetStringList& other);
    CNetStringList& operator=(const CNetStringList& other);
    ~CNetStringList() override;

    /// Appends an entry.
    /// \throws CInvalidArgError for an entry with a NUL character, at which libcurl's strings end
    void add(const String& entry);
    /// Appends the bytes of an entry that are known to be UTF-8.
    void addUTF8(std::string_view entry);

    /// The first node for libcurl, null if the list is empty. The list owns it. Valid until the list is
    /// changed or destroyed.
    curl_slist* getSList() noexcept { return m_head.get(); }

    /// An iterator before the first entry. It must not be used after the list is destroyed.
    P<CIterator> createIterator() const;

private:
    void append(const char* entry);

    CurlStringList m_head;
    curl_slist* m_tail = nullptr;
};

/// Iterates over the entries of a list. Keeps no reference to it. One thread at a time.
class VEXIL_API CNetStringList::CIterator : public virtual CBase {
public:
    /// \param head  first node of a libcurl list, or null; must live while the iterator is used
    explicit CIterator(const curl_slist* head);
    ~CIterator() override;

    /// Moves to the next entry, after creation or reset() to the first one. False after the last one; the
    /// current entry is then "".
    /// \throws CError if an entry is not UTF-8
    bool next();
    /// Back to before the first entry.
    void reset() noexcept;
    /// The current entry; "" before the first and after the last.
    const String& getEntry() const noexcept { return m_entry; }

private:
    const curl_slist* m_head;
    const curl_slist* m_current;
    bool m_isBeforeFirst = true;
    String m_entry;
};

}  // namespace vexil
