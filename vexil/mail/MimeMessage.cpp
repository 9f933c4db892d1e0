#include "vexil/mail/MimeMessage.h"

#include "vexil/mail/BodyEncoding.h"
#include "vexil/net/LineEnd.h"
#include "zet/ASCII.h"
#include "zet/BufferStream.h"
#include "zet/URI.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

namespace vexil {

namespace {

constexpr std::string_view wordBegin = "=?utf-8?q?";
constexpr std::string_view wordEnd = "?=";
constexpr std::size_t maxWordLength = 75;
constexpr std::size_t maxChunkLength = maxWordLength - wordBegin.size() - wordEnd.size();
// Enough for one more character with all its bytes (12), and some spare.
constexpr std::size_t chunkReserve = 18;
constexpr std::size_t maxTextLine = 76;
constexpr std::size_t maxNameBytes = 255;
// Together with the field's name below 998 characters, the limit of a line (RFC 5322, 2.1.1).
constexpr std::size_t maxPlainHeaderText = 900;

bool isASCII(const String& text) {
    return std::all_of(text.view().begin(), text.view().end(), zet::isASCII<wchar_t>);
}

bool continuesCharacter(char byte) noexcept {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

/// Builds a text of encoded words.
class CEncodedWords {
public:
    void add(char byte) {
        static constexpr char digits[] = "0123456789ABCDEF";
        if (zet::isAlphanumeric(byte)) {
            m_chunk += byte;
            return;
        }
        const auto value = static_cast<unsigned char>(byte);
        m_chunk += {'=', digits[value >> 4], digits[value & 0xF]};
    }
    void endCharacter() {
        if (m_chunk.size() + chunkReserve > maxChunkLength) {
            flush();
        }
    }
    const std::string& finish() {
        flush();
        return m_words;
    }

private:
    void flush() {
        if (m_chunk.empty()) {
            return;
        }
        if (!m_words.empty()) {
            m_words += "\r\n ";
        }
        m_words.append(wordBegin).append(m_chunk).append(wordEnd);
        m_chunk.clear();
    }

    std::string m_words;
    std::string m_chunk;
};

/// True if each CR and LF of a field is part of a fold.
bool isFoldedWell(std::wstring_view field) {
    for (std::size_t i = 0; (i = field.find_first_of(L"\r\n", i)) != field.npos; i += 3) {
        const std::wstring_view fold = field.substr(i, 3);
        if (fold != L"\r\n " && fold != L"\r\n\t") {
            return false;
        }
    }
    return true;
}

bool isSpaceOrControl(wchar_t c) {
    return c == L' ' || zet::isControl(c);
}

void checkFieldName(const String& name, const char* place) {
    if (name.isEmpty()) {
        throw CInvalidArgError(place, "header field name must not be empty");
    }
    if (hasLineEnd(name) || name.find(L':') != String::npos) {
        throw CInvalidArgError(place,
                               "header field name must not contain CR, LF, NUL or ':': '" + name + "'");
    }
    if (std::any_of(name.view().begin(), name.view().end(), isSpaceOrControl)) {
        throw CInvalidArgError(place, "header field name must not contain spaces or control characters: '" +
                                          name + "'");
    }
}

void checkField(const String& name, const String& field, const char* place) {
    if (!isFoldedWell(field.view())) {
        throw CInvalidArgError(place, "header field must not contain line ends: '" + name + "'");
    }
    if (field.find(L'\0') != String::npos) {
        throw CInvalidArgError(place, "header field must not contain NUL: '" + name + "'");
    }
}

/// HTTP does not allow folded headers (RFC 9112, 5.2).
String unfold(const String& value) {
    String line = value;
    line.replaceAll("\r\n\t", " ");
    line.replaceAll("\r\n", "");
    return line;
}

/// True if a mail reader would decode a part of a text as an encoded word.
bool looksEncoded(const String& text) {
    const std::size_t begin = text.find("=?");
    return begin != String::npos && text.find("?=", begin + 2) != String::npos;
}

void write(zet::IOutStream& out, const std::string& bytes) {
    out.write(bytes.data(), static_cast<int>(bytes.size()));
}

/// A text as UTF-8 with all line ends as CR LF.
std::string withInternetLineEnds(const String& text) {
    const std::string utf8 = text.toUTF8();
    std::string result;
    result.reserve(utf8.size());
    for (std::size_t i = 0; i < utf8.size(); ++i) {
        if (utf8[i] == '\r' || utf8[i] == '\n') {
            result += "\r\n";
            i += utf8[i] == '\r' && i + 1 < utf8.size() && utf8[i + 1] == '\n' ? 1 : 0;
        } else {
            result += utf8[i];
        }
    }
    return result;
}

/// True if a text needs no transfer encoding: ASCII without control characters in short lines.
bool isPlainBody(std::string_view text) {
    std::size_t lineLength = 0;
    for (const char c : text) {
        if (c == '\n') {
            lineLength = 0;
        } else if (c != '\r' && c != '\t' && (c < ' ' || c > '~')) {
            return false;
        } else if (++lineLength > maxTextLine + 1) {  // with the CR
            return false;
        }
    }
    return true;
}

void checkFileName(const String& name) {
    if (name.isEmpty() || name.toUTF8().size() > maxNameBytes ||
        std::any_of(name.view().begin(), name.view().end(), zet::isControl<wchar_t>)) {
        throw CInvalidArgError("CMimeMessage::createAttachment",
                               "name must have 1 to 255 bytes and no control characters");
    }
}

String makeDisposition(const String& name) {
    std::wstring plain(name.view());
    std::replace_if(
        plain.begin(), plain.end(), [](wchar_t c) { return static_cast<std::uint32_t>(c) > U'~'; }, L'_');
    String disposition = "attachment";
    if (!isASCII(name)) {
        // This one first: some readers use the first of two names.
        disposition += ";\r\n filename*=utf-8''" + zet::CURI::escape(name);
    }
    return disposition + ";\r\n filename=" + CMimeMessage::toQuotedString(String(plain));
}

}  // namespace

CMimeMessage::CMimeMessage(const String& contentType) {
    m_headers["MIME-Version"] = "1.0";
    if (!contentType.isEmpty()) {
        m_headers["Content-Type"] = contentType;
    }
}

CMimeMessage::~CMimeMessage() = default;

P<CMimeMessage> CMimeMessage::createAttachment(const String& name, const String& contentType,
                                               const TBuffer<unsigned char>* buffer) {
    checkFileName(name);
    if (!buffer) {
        throw CInvalidArgError("CMimeMessage::createAttachment", "buffer must not be null");
    }
    P<CMimeMessage> message = new CMimeMessage(contentType);
    message->m_headers["Content-Disposition"] = makeDisposition(name);
    message->setBody(encodeBase64Body(*buffer), "base64");
    return message;
}

void CMimeMessage::setBody(const TBuffer<unsigned char>* body, const String& transferEncoding) {
    m_body = body;
    if (transferEncoding.isEmpty()) {
        m_headers.erase("Content-Transfer-Encoding");
    } else {
        m_headers["Content-Transfer-Encoding"] = transferEncoding;
    }
}

void CMimeMessage::setTextBody(const String& text) {
    const std::string bytes = withInternetLineEnds(text);
    if (bytes.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        zet::throwBufferTooLarge();
    }
    const P<TBuffer<unsigned char>> plain = new TBuffer<unsigned char>;
    plain->append(reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
    if (isPlainBody(bytes)) {
        setBody(plain, "");
    } else {
        const auto quoted = encodeQuotedPrintableBody(*plain);
        const auto base64 = encodeBase64Body(*plain);
        const bool isQuotedShorter = quoted->getUsed() <= base64->getUsed();
        setBody(isQuotedShorter ? quoted : base64, isQuotedShorter ? "quoted-printable" : "base64");
    }
    m_headers.try_emplace("Content-Type", "text/plain; charset=utf-8");
}

String CMimeMessage::makeHeaderField(const String& name, const String& value) {
    return name + ": " + (isASCII(value) ? value : toEncodedWord(value));
}

String CMimeMessage::toEncodedWord(const String& text) {
    const std::string utf8 = text.toUTF8();
    CEncodedWords words;
    for (std::size_t i = 0; i < utf8.size(); ++i) {
        words.add(utf8[i]);
        if (i + 1 == utf8.size() || !continuesCharacter(utf8[i + 1])) {
            words.endCharacter();
        }
    }
    return String::fromLatin1(words.finish());
}

String CMimeMessage::toHeaderText(const String& text) {
    if (hasLineEnd(text)) {
        throw CInvalidArgError("CMimeMessage::toHeaderText", "text must not contain CR, LF or NUL");
    }
    const bool isWrittenAsItIs = isASCII(text) && text.length() <= maxPlainHeaderText && !looksEncoded(text);
    return isWrittenAsItIs ? text : toEncodedWord(text);
}

String CMimeMessage::toQuotedString(const String& text) {
    String quoted = text;
    quoted.replaceAll("\\", "\\\\");
    quoted.replaceAll("\"", "\\\"");
    quoted.replaceAll("\r", "\\\r");
    return "\"" + quoted + "\"";
}

void CMimeMessage::store(zet::IOutStream& out) const {
    storeHeader(out);
    storeBody(out);
}

void CMimeMessage::storeHeader(zet::IOutStream& out) const {
    static constexpr char place[] = "CMimeMessage::storeHeader";
    // Build the whole header before writing the first byte.
    std::string header;
    for (const auto& [name, value] : m_headers) {
        checkFieldName(name, place);
        const String field = makeHeaderField(name, value);
        checkField(name, field, place);
        header += field.toLatin1() + "\r\n";
    }
    write(out, header + "\r\n");
}

void CMimeMessage::storeBody(zet::IOutStream& out) const {
    if (m_body) {
        out.write(m_body->getData(), m_body->getUsed());
    }
}

void CMimeMessage::checkNetHeaders(const char* place) const {
    for (const auto& [name, value] : m_headers) {
        checkFieldName(name, place);
        checkField(name, value, place);
    }
}

void CMimeMessage::updateNetHeaders(CNetHeaders& headers) {
    checkNetHeaders("CMimeMessage::updateNetHeaders");
    for (const auto& [name, value] : m_headers) {
        headers.add(name, unfold(value));
    }
}

void CMimeMessage::fillRequest(CNetRequest& request) {
    checkNetHeaders("CMimeMessage::fillRequest");
    P<CNetHeaders> headers = request.getCustomHTTPHeaders();
    if (!headers) {
        headers = new CNetHeaders;
        request.setCustomHTTPHeaders(headers);
    }
    updateNetHeaders(*headers);
    const P<zet::CBufferStream> body = new zet::CBufferStream;
    storeBody(*body);
    body->seek(0);
    request.setSendDataStream(body);
    request.setSendDataSize(body->getSize());
}

}  // namespace vexil
