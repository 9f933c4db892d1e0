#include "vexil/s3/S3ListingText.h"

#include "vexil/s3/S3HexDigit.h"
#include "vexil/s3/S3XmlReduction.h"
#include "zet/ASCII.h"
#include "zet/XMLCharacters.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <optional>
#include <utility>

namespace vexil {

namespace {

// A character that XML allows and no name needs (U+FDD0, a Unicode noncharacter). It marks an escaped byte:
// two hexadecimal digits follow. The mark itself is escaped in the same way.
constexpr std::string_view mark = "\xEF\xB7\x90";
constexpr char hexDigits[] = "0123456789ABCDEF";
constexpr std::string_view nameTags[] = {"<Key>", "<Prefix>", "<NextContinuationToken>", "<NextKeyMarker>"};
constexpr char32_t maxCharacter = 0x10FFFF;

/// The byte that two hexadecimal digits stand for.
std::optional<char> readHexByte(std::string_view text) {
    if (text.size() < 2) {
        return std::nullopt;
    }
    const int high = getHexDigitValue(text[0]);
    const int low = getHexDigitValue(text[1]);
    return high < 0 || low < 0 ? std::nullopt : std::optional(static_cast<char>(high * 16 + low));
}

void appendHexByte(std::string& out, char byte) {
    const auto value = static_cast<unsigned char>(byte);
    out += hexDigits[value >> 4];
    out += hexDigits[value & 15];
}

void appendMarked(std::string& out, std::string_view bytes) {
    for (const char byte : bytes) {
        out += mark;
        appendHexByte(out, byte);
    }
}

bool isContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

/// Bytes of the UTF-8 character at the beginning; 0 if it is not UTF-8 or XML does not allow it.
std::size_t measureCharacter(std::string_view text) {
    const auto first = static_cast<unsigned char>(text[0]);
    if (first < 0x80) {
        return zet::isXMLCharacter(char32_t{first}) ? 1 : 0;
    }
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() < length ||
        !std::all_of(text.begin() + 1, text.begin() + static_cast<std::ptrdiff_t>(length), isContinuation)) {
        return 0;
    }
    char32_t character = first & (0x7Fu >> length);
    for (std::size_t i = 1; i < length; ++i) {
        character = character << 6 | (static_cast<unsigned char>(text[i]) & 0x3F);
    }
    constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool isMark = text.substr(0, length) == mark;
    return character >= smallest[length] && zet::isXMLCharacter(character) && !isMark ? length : 0;
}

std::string encodeUTF8(char32_t character) {
    const auto tail = [character](int shift) {
        return static_cast<char>(0x80 | (character >> shift & 0x3F));
    };
    if (character < 0x80) {
        return {static_cast<char>(character)};
    }
    if (character < 0x800) {
        return {static_cast<char>(0xC0 | character >> 6), tail(0)};
    }
    if (character < 0x10000) {
        return {static_cast<char>(0xE0 | character >> 12), tail(6), tail(0)};
    }
    return {static_cast<char>(0xF0 | character >> 18), tail(12), tail(6), tail(0)};
}

/// A character reference such as "&#65;": its length in bytes and its character.
struct CReference {
    std::size_t length;
    char32_t character;
};

std::optional<CReference> readReference(std::string_view text) {
    if (!text.starts_with("&#")) {
        return std::nullopt;
    }
    const bool isHex = text.size() > 2 && text[2] == 'x';
    const std::size_t start = isHex ? 3 : 2;
    char32_t character = 0;
    std::size_t end = start;
    for (; end < text.size() && text[end] != ';'; ++end) {
        const int digit = getHexDigitValue(text[end]);
        if (digit < 0 || (!isHex && digit > 9)) {
            return std::nullopt;
        }
        character = std::min<char32_t>(character * (isHex ? 16 : 10) + static_cast<char32_t>(digit),
                                       maxCharacter + 1);
    }
    return end == start || end == text.size() ? std::nullopt : std::optional(CReference{end + 1, character});
}

bool declaresOtherEncoding(std::string_view document) {
    using namespace std::string_view_literals;
    if (!document.starts_with("<?xml")) {
        // UTF-16, with or without a byte order mark.
        return document.starts_with("\xFE\xFF") || document.starts_with("\xFF\xFE") ||
               document.starts_with("<\0"sv) || document.starts_with("\0<"sv);
    }
    std::string declaration(document.substr(0, document.find("?>")));
    std::transform(declaration.begin(), declaration.end(), declaration.begin(), zet::toLower<char>);
    return declaration.find("encoding") != std::string::npos &&
           declaration.find("utf-8") == std::string::npos;
}

/// Replaces each mark and its digits with the byte. True if there was a mark.
bool removeMarks(std::string& text) {
    if (text.find(mark) == text.npos) {
        return false;
    }
    bool hasMarks = false;
    std::string bytes;
    std::string_view rest = text;
    for (std::size_t at; (at = rest.find(mark)) != rest.npos; hasMarks = true) {
        bytes += rest.substr(0, at);
        rest.remove_prefix(at + mark.size());
        if (const auto byte = readHexByte(rest)) {
            bytes += *byte;
            rest.remove_prefix(2);
        }
    }
    text = bytes.append(rest);
    return hasMarks;
}

/// Decodes a percent-encoded name. A "%" without two hexadecimal digits after it stays; the result is then
/// false.
bool decodeURL(std::string& text) {
    if (std::none_of(text.begin(), text.end(), [](char byte) { return byte == '%' || byte == '+'; })) {
        return true;
    }
    bool isValid = true;
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '+') {
            bytes += ' ';
        } else if (text[i] != '%') {
            bytes += text[i];
        } else if (const auto byte = readHexByte(std::string_view(text).substr(i + 1))) {
            bytes += *byte;
            i += 2;
        } else {
            bytes += '%';
            isValid = false;
        }
    }
    text = bytes;
    return isValid;
}

bool isASCII(char byte) {
    return static_cast<unsigned char>(byte) < 0x80;
}

bool isUTF8(const std::string& bytes) {
    if (std::all_of(bytes.begin(), bytes.end(), isASCII)) {
        return true;
    }
    try {
        return String::fromUTF8(bytes).toUTF8() == bytes;
    } catch (const CError&) {
        return false;
    }
}

/// Bytes that are copied as they are, wherever they stand. "]" may end a CDATA section.
constexpr auto plainBytes = [] {
    std::array<bool, 256> table{};
    for (std::size_t byte = 0; byte < 0x80; ++byte) {
        const bool isSpecial = byte == '<' || byte == '&' || byte == ']' || byte == '\r';
        table[byte] = zet::isXMLCharacter(static_cast<char32_t>(byte)) && !isSpecial;
    }
    return table;
}();

/// Escapes what XML does not allow; see makeListing(). Copies nothing if there is nothing to escape.
class CEscaping {
public:
    /// \param memory  empty
    CEscaping(std::string_view document, std::string& memory) : m_rest(document), m_memory(memory) {
        while (!m_rest.empty()) {
            skip(countPlainBytes());
            if (!m_rest.empty()) {
                readSpecialByte();
            }
        }
        if (m_isChanged) {
            m_memory.append(m_kept);
        }
        m_text = m_isChanged ? std::string_view(m_memory) : document;
    }

    std::string_view getText() const { return m_text; }

private:
    std::size_t countPlainBytes() const {
        const auto isPlain = [this](std::size_t index) {
            return plainBytes[static_cast<unsigned char>(m_rest[index])];
        };
        std::size_t count = 0;
        // Four at once: this looks at each byte of a listing.
        while (count + 4 <= m_rest.size() &&
               (isPlain(count) & isPlain(count + 1) & isPlain(count + 2) & isPlain(count + 3)) != 0) {
            count += 4;
        }
        while (count < m_rest.size() && isPlain(count)) {
            ++count;
        }
        return count;
    }

    void readSpecialByte() {
        if (m_rest[0] == '<' || m_rest[0] == ']') {
            noticeTag();
            skip(1);
            return;
        }
        if (const auto reference = m_isInCDATA ? std::nullopt : readReference(m_rest)) {
            readReferenceOf(*reference);
            return;
        }
        const std::size_t length = measureCharacter(m_rest);
        if (length == 0 || (m_isInName && m_rest[0] == '\r')) {
            replace(1, m_rest.substr(0, 1));
        } else {
            skip(length);
        }
    }

    void noticeTag() {
        if (m_isInCDATA) {
            m_isInCDATA = !m_rest.starts_with("]]>");
        } else if (m_rest.starts_with("<![CDATA[")) {
            m_isInCDATA = true;
        } else if (m_rest[0] == '<') {
            const char first = m_rest.size() > 1 ? m_rest[1] : '\0';
            m_isInName =
                first != '/' && std::any_of(std::begin(nameTags), std::end(nameTags),
                                            [this](std::string_view tag) { return m_rest.starts_with(tag); });
        }
    }

    void readReferenceOf(const CReference& reference) {
        if (reference.character > maxCharacter) {
            replace(reference.length, m_rest.substr(0, reference.length));
        } else if (zet::isXMLCharacter(reference.character) && encodeUTF8(reference.character) != mark) {
            skip(reference.length);
        } else {
            replace(reference.length, encodeUTF8(reference.character));
        }
    }

    void skip(std::size_t length) {
        m_kept = {m_kept.data() ? m_kept.data() : m_rest.data(), m_kept.size() + length};
        m_rest.remove_prefix(length);
    }

    void replace(std::size_t length, std::string_view bytes) {
        m_isChanged = true;
        m_memory.append(m_kept);
        appendMarked(m_memory, bytes);
        m_rest.remove_prefix(length);
        m_kept = m_rest.substr(0, 0);
    }

    std::string_view m_rest;
    std::string_view m_kept;  // read, but not yet copied
    std::string_view m_text;
    std::string& m_memory;
    bool m_isChanged = false;
    bool m_isInName = false;
    bool m_isInCDATA = false;
};

}  // namespace

std::string_view makeListing(std::string_view document, const char* operation, std::string& memory) {
    const auto fail = [operation](const String& message) {
        throw CError(String("Error parsing Amazon S3 '") + operation + "' result: " + message);
    };
    if (std::cmp_greater(document.size(), maxListingBytes)) {
        fail("the document is longer than " + String::fromInt(maxListingBytes) + " bytes.");
    }
    const std::string_view text =
        declaresOtherEncoding(document) ? document : CEscaping(document, memory).getText();
    if (!std::in_range<int>(text.size())) {
        fail("invalid XML.");
    }
    return text;
}

CS3ListedName readListedName(std::string_view text, bool isURLEncoded) {
    std::string bytes(text);
    const bool hasMarks = removeMarks(bytes);
    const bool isDecoded = !isURLEncoded || decodeURL(bytes);
    const bool isReadable = !hasMarks && isDecoded && !bytes.empty() && isUTF8(bytes);
    String name = String::fromUTF8Lossy(bytes);
    return {std::move(bytes), std::move(name), isReadable};
}

String escapeBytes(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        const bool isPlain =
            zet::isAlphanumeric(byte) || byte == '-' || byte == '.' || byte == '_' || byte == '~';
        if (isPlain) {
            text += byte;
        } else {
            text += '%';
            appendHexByte(text, byte);
        }
    }
    return String::fromUTF8(text);
}

}  // namespace vexil
