#pragma once

#include "vexil/net/NetReply.h"

#include <string_view>
#include <vector>

namespace vexil {

/// Collects the lines of an FTP or mail server and makes replies of them. One thread at a time.
///
/// A reply ends with a line of three digits and a space, or of three digits alone. So libcurl reads it: a server that
/// ends a reply with another code than it began with does not hide the replies after it.
class CReplyAssembler {
public:
    /// Takes one line as received. A line outside of a reply that does not begin with three digits is left out: a
    /// proxy's headers come in the same way.
    void addLine(std::string_view line) noexcept;
    /// Forgets all replies.
    void reset() noexcept;

    /// The replies so far, in their order. One whose last line has not come is left out.
    /// \throws CError when memory was too short to keep a line
    TArray<CNetReply> getReplies() const;
    /// Whether no other transfer may use the connection: the server has said that it closes it, or a data connection was
    /// opened in passive mode and no transfer has begun on it.
    bool isConnectionUnsafe() const noexcept { return m_isClosing || m_hasUnusedDataConnection; }

private:
    void keepLine(std::string_view line);
    void noteCode(int code) noexcept;

    std::vector<std::string> m_replies;
    std::string m_beginning;  // of a reply whose end has not come
    bool m_isLineLost = false;
    bool m_isClosing = false;
    bool m_hasUnusedDataConnection = false;
};

}  // namespace vexil
