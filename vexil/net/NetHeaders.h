#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/net/NetStringList.h"

#include <string_view>
#include <utility>

namespace vexil {

/// List of request headers, each a line "name: value", for CNetRequest::setCustomHTTPHeaders
/// (CURLOPT_HTTPHEADER).
///
/// One thread at a time. Do not change it while a transfer runs. Copies are deep.
///
/// \code
/// const P<CNetHeaders> headers = new CNetHeaders;
/// headers->add("Content-Type", "application/json");
/// request->setCustomHTTPHeaders(headers);  // keeps a reference
/// \endcode
class VEXIL_API CNetHeaders : public virtual CBase {
public:
    class CIterator;

    /// Starts libcurl if necessary (CGlobalInit).
    CNetHeaders();
    CNetHeaders(const CNetHeaders&) = default;
    CNetHeaders& operator=(const CNetHeaders&) = default;
    ~CNetHeaders() override;

    /// Appends a header. White space at both ends of name and value is removed. They are not checked, and an
    /// earlier header with the same name stays.
    void add(const String& name, const String& value);

    /// The head of the list for libcurl; see CNetStringList::getSList.
    curl_slist* getSList() noexcept { return m_lines.getSList(); }

    /// An iterator before the first header. It must not be used after the list is destroyed.
    P<CIterator> createIterator() const;

    /// Adds the headers to a map by lower-case name. If the map already has the name, the value is appended
    /// with a "," and no space.
    /// \throws CInvalidArgError of splitEntry at the first malformed line. The map has the lines before it
    void fillMap(TMap<String, String>& map) const;

    /// Splits a header line at its first ":" and trims both parts. The value may be empty.
    /// \throws CInvalidArgError "entry contains no ':'" or "name is empty"
    static void splitEntry(const String& entry, String& name, String& value);
    /// The same without a copy: returns parts of `entry`.
    static std::pair<std::wstring_view, std::wstring_view> splitEntry(std::wstring_view entry);

private:
    CNetStringList m_lines;
};

/// Iterates over the headers of a list. Keeps no reference to it. One thread at a time.
class VEXIL_API CNetHeaders::CIterator : public virtual CBase {
public:
    /// For lines that are headers; see CNetHeaders::createIterator().
    /// \param lines  not null and before its first entry; this iterator moves it
    explicit CIterator(const P<CNetStringList::CIterator>& lines);
    ~CIterator() override;

    /// Moves to the next header, after creation or reset() to the first one. False after the last one; name
    /// and value are then "".
    /// \throws CInvalidArgError of splitEntry for a malformed line
    bool next();
    /// Back to before the first header.
    void reset() noexcept;
    /// Name of the current header, trimmed, in its own case; "" before the first and after the last.
    const String& getName() const noexcept { return m_name; }
    /// Trimmed value of the current header.
    const String& getValue() const noexcept { return m_value; }

private:
    P<CNetStringList::CIterator> m_lines;
    String m_name;
    String m_value;
};

}  // namespace vexil
