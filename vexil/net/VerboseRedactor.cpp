#include "vexil/net/VerboseRedactor.h"

#include "zet/ASCII.h"

#include <algorithm>

namespace vexil {

namespace {

std::string_view withoutLineEnd(std::string_view line) {
    if (line.ends_with('\n')) {
        line.remove_suffix(1);
    }
    if (line.ends_with('\r')) {
        line.remove_suffix(1);
    }
    return line;
}

/// Position after the line that begins there.
std::size_t findLineEnd(std::string_view text, std::size_t begin) {
    const std::size_t lineFeed = text.find('\n', begin);
    return lineFeed == std::string_view::npos ? text.size() : lineFeed + 1;
}

TextRanges wholeLine(std::string_view line, std::size_t begin = 0) {
    return begin < line.size() ? TextRanges{{begin, line.size()}} : TextRanges();
}

/// The code of the line that ends a reply of an SMTP server, 0 for all other lines, as libcurl reads it: a
/// space follows the code, or the line has five bytes with its line end. In the latter case each of them may
/// be a digit of the code.
int readFinalCode(std::string_view lineWithEnd) {
    static constexpr std::size_t codeLength = 3;
    static constexpr std::size_t bareLineLength = 5;
    const bool isBare = lineWithEnd.size() == bareLineLength;
    const auto notDigit = std::find_if_not(lineWithEnd.begin(), lineWithEnd.end(), zet::isDigit<char>);
    const auto digits = static_cast<std::size_t>(notDigit - lineWithEnd.begin());
    const bool isFinal = isBare || (lineWithEnd.size() > codeLength && lineWithEnd[codeLength] == ' ');
    if (digits < codeLength || !isFinal) {
        return 0;
    }
    int code = 0;
    for (const char digit : lineWithEnd.substr(0, isBare ? digits : codeLength)) {
        code = code * 10 + (digit - '0');
    }
    return code;
}

/// The reply that ends a login: 235 for success, 5xx for refusal.
bool isLoginVerdict(std::string_view lineWithEnd) {
    const int code = readFinalCode(lineWithEnd);
    return code == 235 || (code >= 500 && code <= 599);
}

/// The reply that asks the client to continue its login. It counts even if the command for it was not seen as
/// a whole.
bool isLoginChallenge(std::string_view lineWithEnd) {
    return lineWithEnd.starts_with("334") || readFinalCode(lineWithEnd) == 334;
}

}  // namespace

CVerboseRedactor::CVerboseRedactor(const TList<Message>& messages) {
    m_records.reserve(messages.size());
    for (const Message& message : messages) {
        const auto size = static_cast<std::size_t>(message.data.getUsed());
        m_records.push_back({{message.data.getData(), size}, {}});
        readMessage(message.type);
    }
    finishLine(m_sent);
    finishLine(m_received);
}

std::string CVerboseRedactor::getText(std::size_t message) const {
    const Record& record = m_records[message];
    return stripRanges(record.bytes, mergeRanges(record.secrets));
}

void CVerboseRedactor::readMessage(curl_infotype type) {
    switch (type) {
    case CURLINFO_HEADER_IN:
        return readLines(m_received);
    case CURLINFO_HEADER_OUT:
        readPossibleCommand();
        return readLines(m_sent);
    case CURLINFO_DATA_OUT:
        return readLines(m_sent, true);
    case CURLINFO_DATA_IN:
    case CURLINFO_SSL_DATA_IN:
    case CURLINFO_SSL_DATA_OUT:
        return;
    default:
        return readInfo(m_records.back());
    }
}

void CVerboseRedactor::readInfo(Record& record) {
    record.secrets = findInfoCredentials(withoutLineEnd(record.bytes));
}

void CVerboseRedactor::readLines(Direction& direction, bool onlyRequestHead) {
    const std::string_view bytes = m_records.back().bytes;
    for (std::size_t begin = 0; begin < bytes.size();) {
        if (onlyRequestHead && !m_isInRequestHead && direction.line.empty()) {
            return;
        }
        const std::size_t end = findLineEnd(bytes, begin);
        appendToLine(direction, {begin, end});
        if (bytes[end - 1] == '\n') {
            finishLine(direction);
        }
        begin = end;
    }
}

void CVerboseRedactor::appendToLine(Direction& direction, TextRange inRecord) {
    if (direction.line.empty()) {
        direction.beganInLogin = m_isInLogin;
    }
    direction.hasReply = false;
    const std::size_t begin = direction.line.size();
    direction.line += m_records.back().bytes.substr(inRecord.begin, inRecord.end - inRecord.begin);
    direction.pieces.push_back({m_records.size() - 1, inRecord.begin, {begin, direction.line.size()}});
}

void CVerboseRedactor::finishLine(Direction& direction) {
    storeSecrets(direction.pieces,
                 &direction == &m_sent ? readSentLine(direction.line) : readReceivedLine(direction.line));
    direction.line.clear();
    direction.pieces.clear();
    m_sent.hasReply = !m_sent.line.empty();
}

/// Both are in order: one pass over both is enough.
void CVerboseRedactor::storeSecrets(const std::vector<Piece>& pieces, const TextRanges& secrets) {
    auto piece = pieces.begin();
    for (const TextRange& secret : secrets) {
        while (piece->inLine.end <= secret.begin) {
            ++piece;
        }
        storeSecret(*piece, secret);
        while (piece->inLine.end < secret.end) {
            ++piece;
            storeSecret(*piece, secret);
        }
    }
}

/// The part of the secret that is in this piece.
void CVerboseRedactor::storeSecret(const Piece& piece, TextRange secret) {
    const std::size_t begin = std::max(secret.begin, piece.inLine.begin);
    const std::size_t end = std::min(secret.end, piece.inLine.end);
    const std::size_t inRecord = piece.position + (begin - piece.inLine.begin);
    m_records[piece.record].secrets.push_back({inRecord, inRecord + (end - begin)});
}

/// If libcurl could send a command only partly, it does not report the rest. After a reply in the middle of a
/// line, the apparent rest of that line may therefore be a new command.
void CVerboseRedactor::readPossibleCommand() {
    Record& record = m_records.back();
    if (!m_sent.hasReply || record.bytes.empty()) {
        return;
    }
    const std::size_t end = withoutLineEnd(record.bytes.substr(0, findLineEnd(record.bytes, 0))).size();
    const std::optional<TextRange> secret =
        m_isInLogin ? TextRange{0, end} : findCommandCredentials(record.bytes.substr(0, end));
    if (secret && secret->begin < secret->end) {
        record.secrets.push_back(*secret);
    }
}

TextRanges CVerboseRedactor::readSentLine(std::string_view lineWithEnd) {
    const std::string_view line = withoutLineEnd(lineWithEnd);
    if (m_sent.beganInLogin) {
        return wholeLine(line);
    }
    if (const std::optional<TextRange> argument = findCommandCredentials(line)) {
        return wholeLine(line, argument->begin);
    }
    if (line.empty()) {
        m_isInRequestHead = false;
    } else if (line.find(" HTTP/") != std::string_view::npos) {
        m_isInRequestHead = true;
    }
    return readHeaderLine(m_sent, line);
}

TextRanges CVerboseRedactor::readReceivedLine(std::string_view lineWithEnd) {
    if (isLoginVerdict(lineWithEnd)) {
        m_isInLogin = false;
    } else if (isLoginChallenge(lineWithEnd)) {
        m_isInLogin = true;
    }
    return readHeaderLine(m_received, withoutLineEnd(lineWithEnd));
}

/// The secret argument of an FTP or SMTP command, possibly empty; an SMTP login begins with it.
std::optional<TextRange> CVerboseRedactor::findCommandCredentials(std::string_view line) {
    const std::optional<TextRange> login = findLoginArgument(line);
    m_isInLogin = m_isInLogin || login;
    return login ? login : findPasswordArgument(line);
}

TextRanges CVerboseRedactor::readHeaderLine(Direction& direction, std::string_view line) {
    const std::size_t text = std::min(line.find_first_not_of(" \t"), line.size());
    const bool isFolded = text > 0;
    if (isFolded && direction.isInSecretHeader) {
        return wholeLine(line, text);
    }
    const std::optional<std::size_t> value = findSecretHeaderValue(line);
    direction.isInSecretHeader = value.has_value();
    return value ? wholeLine(line, *value) : findHeaderURLCredentials(line);
}

}  // namespace vexil
