#include "vexil/s3/S3ListingText.h"

#include "vexil/s3/S3HexDigit.h"
#include "vexil/s3/S3XmlReduction.h"
#include "zet/ASCII.h"
#include "zet/XMLCharacters.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

namespace vexil {

namespace {

// A character that XML allows and no name needs (U+FDD0, a Unicode noncharacter). It marks an escaped byte:
// two hexadecimal digits follow. The mark itself is escaped in the same way.
constexpr std::string_view mark = "\xEF\xB7\x90";
constexpr char hexDigits[] = "0123456789ABCDEF";
constexpr const char* nameTags[] = {"<Key>", "<Prefix>", "<NextContinuationToken>", "<NextKeyMarker>"};
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

bool isUTF8(const std::string& bytes) {
    try {
        return String::fromUTF8(bytes).toUTF8() == bytes;
    } catch (const CError&) {
        return false;
    }
}

}  // namespace

std::string makeWellFormed(std::string_view document) {
    std::string out;
    if (declaresOtherEncoding(document)) {
        return out.append(document);
    }
    out.reserve(document.size());
    bool isInName = false;
    bool isInCDATA = false;
    while (!document.empty()) {
        if (isInCDATA) {
            isInCDATA = !document.starts_with("]]>");
        } else if (document.starts_with("<![CDATA[")) {
            isInCDATA = true;
        } else if (document[0] == '<') {
            isInName = std::any_of(std::begin(nameTags), std::end(nameTags),
                                   [document](const char* tag) { return document.starts_with(tag); });
        }
        std::size_t length = 1;
        if (const auto reference = isInCDATA ? std::nullopt : readReference(document)) {
            length = reference->length;
            if (zet::isXMLCharacter(reference->character) && encodeUTF8(reference->character) != mark) {
                out += document.substr(0, length);
            } else if (reference->character <= maxCharacter) {
                appendMarked(out, encodeUTF8(reference->character));
            } else {
                appendMarked(out, document.substr(0, length));
            }
        } else if (const std::size_t size = measureCharacter(document);
                   size == 0 || (isInName && document[0] == '\r')) {
            appendMarked(out, document.substr(0, 1));
        } else {
            length = size;
            out += document.substr(0, length);
        }
        document.remove_prefix(length);
    }
    return out;
}

std::string makeListing(std::string_view document, const char* operation) {
    const auto fail = [operation](const String& message) {
        throw CError(String("Error parsing Amazon S3 '") + operation + "' result: " + message);
    };
    if (std::cmp_greater(document.size(), maxListingBytes)) {
        fail("the document is longer than " + String::fromInt(maxListingBytes) + " bytes.");
    }
    std::string text = makeWellFormed(document);
    if (!std::in_range<int>(text.size())) {
        fail("invalid XML.");
    }
    return text;
}

CS3ListedName readListedName(const String& text, bool isURLEncoded) {
    std::string bytes = text.toUTF8();
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
