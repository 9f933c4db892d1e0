#include "zet/String.h"

#include "zet/ASCII.h"
#include "zet/Error.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace zet {

namespace {

// Forces the constant into the DLL: code that binds a reference to it imports it from there.
[[gnu::used]] const std::size_t* const neededConstant = &String::npos;

constexpr std::uint32_t replacementCharacter = 0xFFFD;
constexpr std::uint32_t lastCodePoint = 0x10FFFF;

constexpr bool isSurrogate(std::uint32_t c) noexcept {
    return c >= 0xD800 && c <= 0xDFFF;
}

constexpr wchar_t toWide(char c) noexcept {
    return static_cast<wchar_t>(static_cast<unsigned char>(c));
}

/// The units of one character.
class CUnits {
public:
    explicit CUnits(std::uint32_t c) noexcept {
        if constexpr (sizeof(wchar_t) == 2) {
            if (c > 0xFFFF) {
                c -= 0x10000;
                m_units[0] = static_cast<wchar_t>(0xD800 + (c >> 10));
                m_units[1] = static_cast<wchar_t>(0xDC00 + (c & 0x3FF));
                m_count = 2;
                return;
            }
        }
        m_units[0] = static_cast<wchar_t>(c);
    }

    const wchar_t* begin() const noexcept { return m_units; }
    const wchar_t* end() const noexcept { return m_units + m_count; }

private:
    wchar_t m_units[2]{};
    int m_count = 1;
};

/// Length of the valid multi-byte sequence that starts at `p`; `c` becomes its code point. 0 if there is no
/// valid one.
int decodeSequence(const unsigned char* p, const unsigned char* end, std::uint32_t& c) noexcept {
    int length;
    std::uint32_t smallest;
    if (*p >= 0xC2 && *p <= 0xDF) {
        length = 2;
        smallest = 0x80;
        c = *p & 0x1F;
    } else if ((*p & 0xF0) == 0xE0) {
        length = 3;
        smallest = 0x800;
        c = *p & 0x0F;
    } else if (*p >= 0xF0 && *p <= 0xF4) {
        length = 4;
        smallest = 0x10000;
        c = *p & 0x07;
    } else {
        return 0;
    }
    if (end - p < length) {
        return 0;
    }
    for (int i = 1; i < length; ++i) {
        if ((p[i] & 0xC0) != 0x80) {
            return 0;
        }
        c = c << 6 | (p[i] & 0x3F);
    }
    return c < smallest || c > lastCodePoint || isSurrogate(c) ? 0 : length;
}

/// Converts ASCII in blocks of a fixed size, for which compilers use vector instructions.
template <class To, class From>
void convertASCII(const From* from, std::size_t count, To* to) noexcept {
    std::array<From, 16> in;
    std::array<To, in.size()> out;
    std::size_t i = 0;
    for (; i + in.size() <= count; i += in.size()) {
        std::memcpy(in.data(), from + i, sizeof in);
        std::transform(in.begin(), in.end(), out.begin(), [](From c) { return static_cast<To>(c); });
        std::memcpy(to + i, out.data(), sizeof out);
    }
    std::transform(from + i, from + count, to + i, [](From c) { return static_cast<To>(c); });
}

std::size_t countLeadingASCII(std::wstring_view text) noexcept {
    constexpr std::size_t blockSize = 8;
    std::size_t i = 0;
    for (; i + blockSize <= text.size(); i += blockSize) {
        std::make_unsigned_t<wchar_t> bits = 0;
        for (std::size_t k = 0; k < blockSize; ++k) {
            bits |= static_cast<std::make_unsigned_t<wchar_t>>(text[i + k]);
        }
        if (bits > 0x7F) {
            break;
        }
    }
    while (i < text.size() && isASCII(text[i])) {
        ++i;
    }
    return i;
}

std::size_t countLeadingASCII(std::string_view bytes) noexcept {
    constexpr std::uint64_t highBits = 0x8080808080808080u;
    std::size_t i = 0;
    for (; i + sizeof(std::uint64_t) <= bytes.size(); i += sizeof(std::uint64_t)) {
        std::uint64_t block;
        std::memcpy(&block, bytes.data() + i, sizeof block);
        if (block & highBits) {
            break;
        }
    }
    while (i < bytes.size() && isASCII(bytes[i])) {
        ++i;
    }
    return i;
}

/// Replaces `out` by the decoded bytes. Returns false at the first byte that belongs to no valid sequence,
/// unless `lossy`.
bool decodeUTF8(std::string_view bytes, std::wstring& out, bool lossy) {
    const std::size_t ascii = countLeadingASCII(bytes);
    out.resize(ascii);
    convertASCII(bytes.data(), ascii, out.data());
    const auto* p = reinterpret_cast<const unsigned char*>(bytes.data()) + ascii;
    const auto* end = reinterpret_cast<const unsigned char*>(bytes.data()) + bytes.size();
    while (p != end) {
        std::uint32_t c = *p;
        const int length = c < 0x80 ? 1 : decodeSequence(p, end, c);
        if (length == 0 && !lossy) {
            return false;
        }
        const CUnits units(length == 0 ? replacementCharacter : c);
        out.append(units.begin(), units.end());
        p += std::max(length, 1);
    }
    return true;
}

/// Returns the code point at `index` and moves `index` to the next one.
std::uint32_t nextCodePoint(std::wstring_view text, std::size_t& index) noexcept {
    using Unit = std::conditional_t<sizeof(wchar_t) == 2, std::uint16_t, std::uint32_t>;
    const std::uint32_t c = static_cast<Unit>(text[index++]);
    if constexpr (sizeof(wchar_t) == 2) {
        if (c >= 0xD800 && c <= 0xDBFF && index < text.size()) {
            const std::uint32_t low = static_cast<Unit>(text[index]);
            if (low >= 0xDC00 && low <= 0xDFFF) {
                ++index;
                return 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
            }
        }
    }
    return isSurrogate(c) || c > lastCodePoint ? replacementCharacter : c;
}

void appendUTF8(std::string& out, std::uint32_t c) {
    const auto put = [&out](std::uint32_t byte) {
        out += static_cast<char>(static_cast<unsigned char>(byte));
    };
    if (c < 0x80) {
        put(c);
    } else if (c < 0x800) {
        put(0xC0 | c >> 6);
        put(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        put(0xE0 | c >> 12);
        put(0x80 | (c >> 6 & 0x3F));
        put(0x80 | (c & 0x3F));
    } else {
        put(0xF0 | c >> 18);
        put(0x80 | (c >> 12 & 0x3F));
        put(0x80 | (c >> 6 & 0x3F));
        put(0x80 | (c & 0x3F));
    }
}

}  // namespace

String::String(const char* utf8) {
    if (utf8) {
        assignUTF8(utf8);
    }
}

String::String(std::string_view utf8) {
    assignUTF8(utf8);
}

String::String(const wchar_t* text) : m_text(text ? text : L"") {}

String String::fromUTF8(std::string_view bytes) {
    String result;
    result.assignUTF8(bytes);
    return result;
}

String String::fromUTF8Lossy(std::string_view bytes) {
    String result;
    decodeUTF8(bytes, result.m_text, true);
    return result;
}

String String::fromLatin1(std::string_view bytes) {
    String result;
    result.m_text.resize(bytes.size());
    std::transform(bytes.begin(), bytes.end(), result.m_text.begin(), toWide);
    return result;
}

String String::fromInt(int64 value) {
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    return fromLatin1({digits, static_cast<std::size_t>(end - digits)});
}

void String::assignUTF8(std::string_view bytes) {
    if (!decodeUTF8(bytes, m_text, false)) {
        m_text.clear();
        throw CError("Invalid UTF-8 data.");
    }
}

std::string String::toUTF8() const {
    std::string out;
    out.reserve(m_text.size());
    out.resize(countLeadingASCII(std::wstring_view(m_text)));
    convertASCII(m_text.data(), out.size(), out.data());
    for (std::size_t i = out.size(); i < m_text.size();) {
        appendUTF8(out, nextCodePoint(m_text, i));
    }
    return out;
}

std::string String::toLatin1() const {
    std::string out;
    out.reserve(m_text.size());
    for (std::size_t i = 0; i < m_text.size();) {
        const std::uint32_t c = nextCodePoint(m_text, i);
        out += c < 0x100 ? static_cast<char>(static_cast<unsigned char>(c)) : '?';
    }
    return out;
}

std::size_t String::find(const char* ascii, std::size_t from) const noexcept {
    const std::string_view text(ascii);
    if (from > m_text.size()) {
        return npos;
    }
    const auto found =
        std::search(m_text.begin() + static_cast<std::ptrdiff_t>(from), m_text.end(), text.begin(),
                    text.end(), [](wchar_t a, char b) { return a == toWide(b); });
    return found == m_text.end() && !text.empty() ? npos : static_cast<std::size_t>(found - m_text.begin());
}

bool String::startsWith(const char* ascii) const noexcept {
    std::size_t i = 0;
    for (; ascii[i]; ++i) {
        if (i == m_text.size() || m_text[i] != toWide(ascii[i])) {
            return false;
        }
    }
    return true;
}

bool String::startsWithNoCase(const char* ascii) const noexcept {
    return zet::startsWithNoCase(m_text, ascii);
}

bool String::endsWith(const char* ascii) const noexcept {
    const std::string_view text(ascii);
    return text.size() <= m_text.size() &&
           std::equal(text.begin(), text.end(), m_text.end() - static_cast<std::ptrdiff_t>(text.size()),
                      [](char a, wchar_t b) { return toWide(a) == b; });
}

bool String::equalsNoCase(const char* ascii) const noexcept {
    return zet::equalsNoCase(m_text, ascii);
}

int String::compare(const char* utf8) const noexcept {
    return compare(std::string_view(utf8 ? utf8 : ""));
}

int String::compare(std::string_view utf8) const noexcept {
    const auto* p = reinterpret_cast<const unsigned char*>(utf8.data());
    const auto* const end = p + utf8.size();
    std::size_t i = 0;
    while (p != end) {
        std::uint32_t c = *p;
        const int length = c < 0x80 ? 1 : decodeSequence(p, end, c);
        if (length == 0) {
            return -1;
        }
        p += length;
        for (const wchar_t unit : CUnits(c)) {
            if (i == m_text.size() || m_text[i] != unit) {
                return i < m_text.size() && m_text[i] > unit ? 1 : -1;
            }
            ++i;
        }
    }
    return i == m_text.size() ? 0 : 1;
}

String String::substr(std::size_t position, std::size_t count) const {
    return position >= m_text.size() ? String() : String(m_text.substr(position, count));
}

String String::toLower() const {
    String result(*this);
    result.makeLower();
    return result;
}

String String::trimmed() const {
    return String(zet::trimmed(m_text));
}

void String::makeLower() noexcept {
    std::transform(m_text.begin(), m_text.end(), m_text.begin(), zet::toLower<wchar_t>);
}

void String::trim() {
    trimRight();
    trimLeft();
}

void String::trimLeft() {
    m_text.erase(m_text.begin(), std::find_if_not(m_text.begin(), m_text.end(), isWhiteSpace));
}

void String::trimRight() {
    m_text.erase(std::find_if_not(m_text.rbegin(), m_text.rend(), isWhiteSpace).base(), m_text.end());
}

void String::replaceAll(const String& from, const String& to) {
    std::size_t position = from.isEmpty() ? npos : m_text.find(from.m_text);
    if (position == npos) {
        return;
    }
    // A new text is built in one pass: replacing in place would move the rest once for each occurrence.
    std::wstring result;
    std::size_t done = 0;
    for (; position != npos; position = m_text.find(from.m_text, done)) {
        result.append(m_text, done, position - done);
        result += to.m_text;
        done = position + from.length();
    }
    result.append(m_text, done, npos);
    m_text = std::move(result);
}

void String::replace(std::size_t position, std::size_t count, const String& by) {
    m_text.replace(std::min(position, m_text.size()), count, by.m_text);
}

String& String::operator+=(const char* utf8) {
    const std::string_view bytes(utf8 ? utf8 : "");
    if (countLeadingASCII(bytes) == bytes.size()) {
        m_text.append(bytes.begin(), bytes.end());
        return *this;
    }
    return *this += fromUTF8(bytes);
}

std::wstring_view trimmed(std::wstring_view text) noexcept {
    while (!text.empty() && isWhiteSpace(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && isWhiteSpace(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

}  // namespace zet
