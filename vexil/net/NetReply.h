#pragma once

#include "vexil/BaseTypes.h"

#include <string>
#include <utility>

namespace vexil {

/// One reply of an FTP or mail server with all of its lines (RFC 959, 4.2; RFC 5321, 4.2): see
/// CNetRequest::getReplies(). A value.
class CNetReply {
public:
    /// \param code   the reply's code, three digits
    /// \param text   the text of the reply, without codes
    /// \param bytes  the lines as received, with line ends
    CNetReply(int code, String text, std::string bytes)
        : m_code(code), m_text(std::move(text)), m_bytes(std::move(bytes)) {}

    /// The reply's code, 0 to 999. If the reply has several lines, it is that of the last one, which libcurl
    /// uses as well.
    int getCode() const noexcept { return m_code; }
    /// The text of the reply, without the code and the character after it. Lines are joined with LF. A line
    /// that is not UTF-8 is read as Latin-1, so that no line is missing.
    const String& getText() const noexcept { return m_text; }
    /// The lines as received, with their line ends.
    const std::string& getBytes() const noexcept { return m_bytes; }

private:
    int m_code;
    String m_text;
    std::string m_bytes;
};

}  // namespace vexil
