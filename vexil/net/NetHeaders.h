#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/net/NetStringList.h"

#include <string_view>
#include <utility>

namespace vexil {

/// List of request headers, each a line of name, ": " and value, for CNetRequest::setCustomHTTPHeaders
/// (CURLOPT_HTTPHEADER).
///
/// One thread at a time; not to be changed while a transfer runs. Copies are deep.
///
/// \code
/// const P<CNetHeaders> headers = new CNetHeaders;
/// headers->add("Content-Type", "application/json");
/// request->setCustomHTTPHeaders(headers);  // keeps a reference
/// \endcode
class VEXIL_API CNetHeaders : public virtual CBase {
public:
    class CIterator;

    /// Starts libcurl if need be (CGlobalInit).
    CNetHeaders();
    CNetHeaders(const CNetHeaders&) = default;
    CNetHeaders& operator=(const CNetHeaders&) = default;
    ~CNetHeaders() override;

    /// Appends a header; white space at both ends of name and value goes. Neither is checked further, and a
    /// header of the same name stays beside it.
    void add(const String& name, const String& value);

    /// The head of the list for libcurl; see CNetStringList::getSList.
    curl_slist* getSList() noexcept { return m_lines.getSList(); }

    /// An iterator before the first header. It must not be used after the list is gone.
    P<CIterator> createIterator() const;

    /// Adds the headers to a map by lower-case name. The value of a name that the map has already, from
    /// this list or from before, is appended to it behind a "," without a blank.
    /// \throws CInvalidArgError of splitEntry at the first malformed line; the ones before it are in the map
    void fillMap(TMap<String, String>& map) const;

    /// Splits a header line at its first ":" and trims both parts. The value may be empty.
    /// \throws CInvalidArgError "entry contains no ':'" or "name is empty"
    static void splitEntry(const String& entry, String& name, String& value);
    /// The same without a copy: parts of `entry`.
    static std::pair<std::wstring_view, std::wstring_view> splitEntry(std::wstring_view entry);

private:
    CNetStringList m_lines;
};

/// Walks over the headers of a list. Keeps no reference to it. One thread at a time.
class VEXIL_API CNetHeaders::CIterator : public virtual CBase {
public:
    /// Over lines that are headers; see CNetHeaders::createIterator().
    /// \param lines  not null and before its first entry; the iterator moves it
    explicit CIterator(const P<CNetStringList::CIterator>& lines);
    ~CIterator() override;

    /// Moves to the next header, the first one after creation or reset(). False behind the last one, where
    /// name and value are "".
    /// \throws CInvalidArgError of splitEntry for a malformed line
    bool next();
    /// Back before the first header.
    void reset() noexcept;
    /// Name of the current header, as written and trimmed; "" before the first and behind the last.
    const String& getName() const noexcept { return m_name; }
    /// Trimmed value of the current header.
    const String& getValue() const noexcept { return m_value; }

private:
    P<CNetStringList::CIterator> m_lines;
    String m_name;
    String m_value;
};

}  // namespace vexil
