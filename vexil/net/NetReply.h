#pragma once

#include "vexil/BaseTypes.h"

#include <string>
#include <utility>

namespace vexil {

/// One reply of an FTP or mail server, with all of its lines and whatever bytes they have (RFC 959, 4.2; RFC 5321, 4.2):
/// see CNetRequest::getReplies(). A value.
class CNetReply {
public:
    /// \param code   the reply's code, three digits
    /// \param text   what the reply says, without codes
    /// \param bytes  the lines as they came, line ends included
    CNetReply(int code, String text, std::string bytes)
        : m_code(code), m_text(std::move(text)), m_bytes(std::move(bytes)) {}

    /// The reply's code, 0 to 999. In a reply of several lines that of the last one, which is what libcurl goes by.
    int getCode() const noexcept { return m_code; }
    /// What the reply says, without the code and the character after it. Lines are joined with LF. Each line that is
    /// not UTF-8 is taken for Latin-1, so that no line is missing.
    const String& getText() const noexcept { return m_text; }
    /// The lines as they came, with their line ends.
    const std::string& getBytes() const noexcept { return m_bytes; }

private:
    int m_code;
    String m_text;
    std::string m_bytes;
};

}  // namespace vexil
