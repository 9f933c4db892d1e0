#include "vexil/net/ResponseHead.h"

#include "vexil/net/HTTPStatusLine.h"
#include "zet/Log.h"

namespace vexil {

namespace {

bool isStatusLine(std::string_view bytes) {
    return bytes.starts_with("HTTP/");
}

/// Not the status line, whose code libcurl knows, and not a line without content.
bool isHeaderField(std::string_view bytes) {
    return !isStatusLine(bytes) && bytes.find_first_not_of(" \t\r\n") != std::string_view::npos;
}

}  // namespace

void CResponseHead::clear() {
    m_headers.reset();
    m_statusLine.clear();
    m_statusLineState = StatusLine::None;
    m_hasDroppedLine = false;
    m_lastReadStatus = -1;
    m_lines.clear();
    m_replies.reset();
}

void CResponseHead::addLine(std::string_view bytes, bool isHTTP) noexcept {
    static constexpr char ignored[] = "Exception during CNetRequest header parsing (ignored).";
    if (!isHTTP) {
        m_replies.addLine(bytes);
    }
    const bool wasComplete = m_headers.isComplete();
    try {
        try {
            readLine(bytes, isHTTP);
        } catch (const CError& error) {
            m_hasDroppedLine |= !wasComplete && isHeaderField(bytes);
            zet::logWarning(error, ignored);
        } catch (const std::exception& error) {
            m_hasDroppedLine |= !wasComplete || isStatusLine(bytes);
            zet::logWarning(error, ignored);
        } catch (...) {
            m_hasDroppedLine |= !wasComplete || isStatusLine(bytes);
            zet::logWarning(ignored);
        }
    } catch (...) {
        // There was not even memory for the text of the warning.
    }
}

void CResponseHead::readLine(std::string_view bytes, bool isHTTP) {
    const bool isStatus = isHTTP && isStatusLine(bytes);
    if (isStatus) {
        beginResponse();
    }
    m_line.assignUTF8(bytes);
    if (isStatus) {
        m_statusLine.assign(zet::trimmed(m_line.view()));
        m_statusLineState = StatusLine::Read;
    } else if (isHTTP) {
        m_headers.handleHeaderLine(m_line);
    }
    m_lines.add(bytes);
}

void CResponseHead::beginResponse() noexcept {
    // By the bytes of a status line: one that cannot be read ends the previous response as well.
    if (m_statusLineState != StatusLine::None) {
        m_headers.reset();
    }
    m_statusLineState = StatusLine::Unreadable;
    m_hasDroppedLine = false;
}

int CResponseHead::readStatus(const String& httpMethod, const String& url) {
    // A status line that could not be read leaves the text of the one before.
    const String none;
    const String& line = m_statusLineState == StatusLine::Read ? m_statusLine : none;
    try {
        m_lastReadStatus = getStatusCodeFromHTTPStatusLine(line);
    } catch (const CError& error) {
        zet::logError(error, "Error parsing HTTP status line - ignoring (statusLine: '" + line +
                                 "', method: '" + httpMethod + "', URL: '" + url + "')");
        m_lastReadStatus = 0;
    }
    return m_lastReadStatus;
}

String CResponseHead::getLastLine() const {
    return String::fromUTF8(m_lines.getLast());
}

String CResponseHead::getReplyText(int code) const {
    const String start = String::fromInt(code);
    String text;
    bool isOver = true;
    m_lines.forEach([&](std::string_view bytes) {
        const String line = String::fromUTF8(bytes).trimmed();
        const wchar_t separator = line.startsWith(start) ? line[start.length()] : L'x';
        // The code alone is a whole reply. After "-" more lines follow (RFC 5321, 4.2.1).
        if (separator != L' ' && separator != L'-' && separator != L'\0') {
            return;
        }
        text = isOver ? line : text + "\n" + line;
        isOver = separator != L'-';
    });
    return text;
}

}  // namespace vexil
