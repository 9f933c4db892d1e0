#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/net/CurlHandles.h"

#include <string_view>

namespace vexil {

/// List of text lines in the form that libcurl takes (curl_slist): request headers, FTP commands, mail
/// recipients, protocol replies. Entries are UTF-8, in insertion order, duplicates allowed.
///
/// A list handed to a request must not be changed while a transfer runs. One thread at a time. Copies are
/// deep.
class VEXIL_API CNetStringList : public virtual CBase {
public:
    class CIterator;

    CNetStringList();
    CNetStringList(const CNetStringList& other);
    CNetStringList& operator=(const CNetStringList& other);
    ~CNetStringList() override;

    /// Appends an entry. One that holds a NUL character, where libcurl's strings end, is a CInvalidArgError.
    void add(const String& entry);
    /// Appends the bytes of an entry that are known to be UTF-8.
    void addUTF8(std::string_view entry);

    /// The head of the list for libcurl, null when empty. Stays the list's own, and valid until the list is
    /// changed or destroyed.
    curl_slist* getSList() noexcept { return m_head.get(); }

    /// An iterator before the first entry. It must not be used after the list is gone.
    P<CIterator> createIterator() const;

private:
    void append(const char* entry);

    CurlStringList m_head;
    curl_slist* m_tail = nullptr;
};

/// Walks over the entries of a list. Keeps no reference to it. One thread at a time.
class VEXIL_API CNetStringList::CIterator : public virtual CBase {
public:
    /// \param head  first entry of a list of libcurl's, or null; must stay as long as the iterator is used
    explicit CIterator(const curl_slist* head);
    ~CIterator() override;

    /// Moves to the next entry, the first one after creation or reset(). False behind the last one, where
    /// the current entry is "".
    /// \throws CError when an entry's bytes are not UTF-8
    bool next();
    /// Back before the first entry.
    void reset() noexcept;
    /// The current entry; "" before the first and behind the last.
    const String& getEntry() const noexcept { return m_entry; }

private:
    const curl_slist* m_head;
    const curl_slist* m_current;
    bool m_isBeforeFirst = true;
    String m_entry;
};

}  // namespace vexil
