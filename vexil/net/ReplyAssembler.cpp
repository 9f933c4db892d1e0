#include "vexil/net/ReplyAssembler.h"

#include "zet/ASCII.h"

#include <algorithm>
#include <utility>

namespace vexil {

namespace {

constexpr std::size_t codeLength = 3;

bool beginsWithCode(std::string_view line) {
    return line.size() >= codeLength &&
           std::all_of(line.begin(), line.begin() + codeLength, zet::isDigit<char>);
}

std::string_view withoutLineEnd(std::string_view line) {
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) {
        line.remove_suffix(1);
    }
    return line;
}

/// The character after the code, NUL if there is none.
char getSeparator(std::string_view line) {
    return line.size() > codeLength ? line[codeLength] : '\0';
}

bool isFirstLine(std::string_view line) {
    return beginsWithCode(line) &&
           (getSeparator(line) == '-' || getSeparator(line) == ' ' || line.size() == codeLength);
}

bool isLastLine(std::string_view line) {
    return isFirstLine(line) && getSeparator(line) != '-';
}

int parseCode(std::string_view line) {
    int code = 0;
    for (std::size_t i = 0; i < codeLength; ++i) {
        code = code * 10 + (line[i] - '0');
    }
    return code;
}

String decode(std::string_view line) {
    try {
        return String::fromUTF8(line);
    } catch (const CError&) {
        return String::fromLatin1(line);
    }
}

std::vector<std::string_view> splitLines(std::string_view bytes) {
    std::vector<std::string_view> lines;
    while (!bytes.empty()) {
        const std::size_t end = std::min(bytes.find('\n'), bytes.size() - 1) + 1;
        lines.push_back(withoutLineEnd(bytes.substr(0, end)));
        bytes.remove_prefix(end);
    }
    return lines;
}

CNetReply makeReply(const std::string& bytes) {
    const std::vector<std::string_view> lines = splitLines(bytes);
    const std::string_view first = lines.front();
    const std::string_view last = lines.back();
    String text;
    for (const std::string_view line : lines) {
        // FTP requires the code only in the first and the last line, but many servers put it into each.
        const bool hasCode = line.data() == first.data() || line.data() == last.data() ||
                             (isFirstLine(line) && parseCode(line) == parseCode(first));
        if (line.data() != first.data()) {
            text += L'\n';
        }
        text += decode(hasCode ? line.substr(std::min(codeLength + 1, line.size())) : line);
    }
    return CNetReply(parseCode(last), text, bytes);
}

}  // namespace

void CReplyAssembler::addLine(std::string_view line) noexcept {
    try {
        keepLine(line);
    } catch (...) {
        m_isLineLost = true;
    }
    // Even if the line could not be kept.
    if (isLastLine(withoutLineEnd(line))) {
        noteCode(parseCode(line));
    }
}

void CReplyAssembler::noteCode(int code) noexcept {
    constexpr int passiveMode = 227;          // RFC 959, 4.2
    constexpr int extendedPassiveMode = 229;  // RFC 2428, 3
    constexpr int serviceNotAvailable = 421;  // RFC 959, 4.2; RFC 5321, 3.8
    if (code == passiveMode || code == extendedPassiveMode) {
        m_hasUnusedDataConnection = true;
    } else if (code >= 100 && code < 200) {
        m_hasUnusedDataConnection = false;
    } else if (code == serviceNotAvailable) {
        m_isClosing = true;
    }
}

void CReplyAssembler::keepLine(std::string_view line) {
    const std::string_view content = withoutLineEnd(line);
    if (m_beginning.empty() && !isFirstLine(content)) {
        return;
    }
    m_beginning += line;
    if (isLastLine(content)) {
        m_replies.push_back(m_beginning);
        m_beginning.clear();
    }
}

void CReplyAssembler::reset() noexcept {
    m_replies.clear();
    m_beginning.clear();
    m_isLineLost = false;
    m_isClosing = m_hasUnusedDataConnection = false;
}

TArray<CNetReply> CReplyAssembler::getReplies() const {
    if (m_isLineLost) {
        throw CError("The server's replies could not be kept: out of memory.");
    }
    TArray<CNetReply> replies;
    for (const std::string& bytes : m_replies) {
        replies.push_back(makeReply(bytes));
    }
    return replies;
}

}  // namespace vexil
