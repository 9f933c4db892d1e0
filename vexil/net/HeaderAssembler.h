#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/net/ServerInfo.h"

namespace vexil {

/// Collects the header lines of a response in a map from lower-case name to trimmed value.
///
/// A repeated header is joined with "," without a space (an empty first value is replaced instead). A
/// continuation line is joined with one space (RFC 9112, 5.2). The line "\r\n" ends the block: the attached
/// server record then learns from the map, and further lines (trailers) are ignored until reset().
///
/// One thread at a time. A plain value, except that copies share the server record.
class VEXIL_API CHeaderAssembler : public virtual CBase {
public:
    CHeaderAssembler();
    CHeaderAssembler(const CHeaderAssembler&) = default;
    CHeaderAssembler(CHeaderAssembler&&) = default;
    CHeaderAssembler& operator=(const CHeaderAssembler&) = default;
    CHeaderAssembler& operator=(CHeaderAssembler&&) = default;
    ~CHeaderAssembler() override;

    /// Adds one line as received, with its line end; not the status line.
    /// \throws CError "Error parsing HTTP header: first line starts with whitespace." for a continuation line
    ///         without a header before it, CInvalidArgError of CNetHeaders::splitEntry for a line without a
    ///         name or a colon. The map is then unchanged
    void handleHeaderLine(const String& line);

    /// Begins a new block: empties the map. The server record stays attached.
    void reset();

    /// Whether the end of the header block was seen.
    bool isComplete() const noexcept { return m_isComplete; }

    /// @{

    /// The headers of the block so far, by lower-case name. The assembler owns the map: further lines fill
    /// it, reset() empties it.
    TMap<String, String>& getHeaderMap() noexcept { return m_headers; }
    const TMap<String, String>& getHeaderMap() const noexcept { return m_headers; }
    /// @}

    /// Attaches a record (a reference is kept) that learns from each finished block; null detaches.
    void setServerInfoToUpdate(CServerInfo* info) { m_serverInfo = info; }

private:
    void addHeader(std::wstring_view line);
    void insertHeader(TMap<String, String>::iterator place, std::wstring_view value);
    void continueHeader(std::wstring_view line);

    TMap<String, String> m_headers;
    // The previous block: responses of one server have the same names, so its memory is used again.
    TMap<String, String> m_previousHeaders;
    String m_lastName;
    bool m_isComplete = false;
    P<CServerInfo> m_serverInfo;
};

}  // namespace vexil
