#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

namespace vexil {

/// The value of a response's "Content-Range" header (RFC 9110, 14.4): which part of an entity was sent. A
/// value.
///
/// \code
/// const auto range = CHTTPContentRange::parse(request.getResponseHeaderMap().at("content-range"));
/// if (range->getFirst() != offset) { ... }
/// \endcode
class VEXIL_API CHTTPContentRange : public virtual CBase {
public:
    /// The values are not checked.
    CHTTPContentRange(const String& unit, int64 first, int64 last, int64 entireContentSize);
    // Moves are copies: the old object keeps its values.
    CHTTPContentRange(const CHTTPContentRange&) = default;
    CHTTPContentRange& operator=(const CHTTPContentRange&) = default;
    ~CHTTPContentRange() override;

    /// Reads a header value: "bytes 0-499/1234", "bytes 0-499/*" or "bytes */1234". The numbers are not
    /// compared with each other.
    /// \return never null
    /// \throws CError "Invalid HTTP Content-Range header: ..." for anything else
    [[nodiscard]] static P<CHTTPContentRange> parse(const String& header);

    /// The unit in lower case: "bytes".
    String getUnit() const { return m_unit; }
    /// Position of the first unit sent, from 0; -1 if the range could not be satisfied.
    int64 getFirst() const noexcept { return m_first; }
    /// Position of the last unit sent; -1 if the range could not be satisfied.
    int64 getLast() const noexcept { return m_last; }
    /// Length of the whole entity; -1 if the server does not tell.
    int64 getEntireContentSize() const noexcept { return m_entireContentSize; }

private:
    String m_unit;
    int64 m_first;
    int64 m_last;
    int64 m_entireContentSize;
};

}  // namespace vexil
