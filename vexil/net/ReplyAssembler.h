#pragma once

#include "vexil/net/NetReply.h"

#include <string_view>
#include <vector>

namespace vexil {

/// Joins the lines of an FTP or mail server to replies. One thread at a time.
///
/// A reply ends with a line of three digits and a space, or of three digits alone, as in libcurl. If a server
/// ends a reply with another code than it began with, the replies after it are still found.
class CReplyAssembler {
public:
    /// Adds one line as received. A line outside a reply is ignored unless it begins with three digits: it
    /// may be a proxy's header.
    void addLine(std::string_view line) noexcept;
    /// Forgets all replies.
    void reset() noexcept;

    /// The replies so far, in order. A reply whose last line has not come is left out.
    /// \throws CError if there was no memory to keep a line
    TArray<CNetReply> getReplies() const;
    /// Whether no other transfer may use the connection: the server has announced that it closes it, or a
    /// data connection was opened in passive mode and no transfer has begun on it.
    bool isConnectionUnsafe() const noexcept { return m_isClosing || m_hasUnusedDataConnection; }

private:
    void keepLine(std::string_view line);
    void noteCode(int code) noexcept;

    std::vector<std::string> m_replies;
    std::string m_beginning;  // of a reply that has not ended
    bool m_isLineLost = false;
    bool m_isClosing = false;
    bool m_hasUnusedDataConnection = false;
};

}  // namespace vexil
