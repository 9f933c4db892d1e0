#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/HeaderAssembler.h"
#include "vexil/net/ReplyAssembler.h"
#include "vexil/net/ResponseLines.h"

#include <string_view>

namespace vexil {

/// What a server says beside the body: the headers and the status line of the last HTTP response, the replies
/// of an FTP or mail server, and all lines of a transfer. One thread at a time.
class CResponseHead {
public:
    void setServerInfoToUpdate(CServerInfo* info) { m_headers.setServerInfoToUpdate(info); }
    /// Forgets the last transfer.
    void clear();

    /// Takes a line as libcurl reports it. A line that cannot be read is dropped with a warning in the log.
    void addLine(std::string_view bytes, bool isHTTP) noexcept;
    /// The status of the last response for a sink. An unreadable status line is logged and counts as 0.
    /// \param httpMethod, url  for the log
    int readStatus(const String& httpMethod, const String& url);
    /// What readStatus() has returned last; -1 if it was not called for this transfer.
    int getLastReadStatus() const noexcept { return m_lastReadStatus; }

    const TMap<String, String>& getHeaders() const noexcept { return m_headers.getHeaderMap(); }
    const String& getStatusLine() const noexcept { return m_statusLine; }
    /// See CNetRequest::getResponseInfo().
    const CNetStringList& getLines() const { return m_lines.getList(); }
    String getLastLine() const;
    /// See CNetRequest::getResponseText().
    String getReplyText(int code) const;
    const CReplyAssembler& getReplies() const noexcept { return m_replies; }
    /// Whether the end of the header block has come and no line of it was dropped.
    bool isComplete() const noexcept { return m_headers.isComplete() && !m_hasDroppedLine; }
    bool hasDroppedLine() const noexcept { return m_hasDroppedLine; }

private:
    enum class StatusLine { None, Read, Unreadable };

    void readLine(std::string_view bytes, bool isHTTP);
    void beginResponse() noexcept;

    CHeaderAssembler m_headers;
    String m_line;  // kept for its memory
    String m_statusLine;
    StatusLine m_statusLineState =
        StatusLine::None;  // of the last response: m_statusLine is its text if Read
    bool m_hasDroppedLine = false;
    int m_lastReadStatus = -1;
    CResponseLines m_lines;
    CReplyAssembler m_replies;
};

}  // namespace vexil
