#pragma once

#include "zet/Export.h"
#include "zet/Types.h"

#include <compare>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace zet {

/// Text of wide characters: UTF-32 where `wchar_t` has 4 bytes, UTF-16 where it has 2. May hold NUL.
///
/// All conversions are independent of the locale. Positions, lengths and comparisons count and compare
/// `wchar_t` units; case and white space (blank, \\t, \\n, \\v, \\f, \\r) are those of ASCII alone, because
/// the texts compared without case here are protocol names. Comparing with and searching for plain
/// `const char*` ASCII text allocates nothing.
///
/// A plain value: distinct objects may be used from several threads. Errors: only the strict UTF-8 decoding
/// throws (a CError) beside `std::bad_alloc`.
///
/// \code
/// const String name = "Größe.txt";              // UTF-8 in, whatever the locale
/// if (name.endsWith(".txt")) {
///     const std::string bytes = name.toUTF8();  // UTF-8 out
/// }
/// \endcode
class ZET_API String {
public:
    /// No position; as a count, all that is there.
    static constexpr std::size_t npos = std::wstring::npos;

    /// The empty text.
    String() noexcept = default;
    /// Decodes NUL-terminated UTF-8, strictly. Null is the empty text.
    String(const char* utf8);
    /// Null is the empty text.
    String(const wchar_t* text);
    /// Takes the characters as they are, NUL included.
    String(std::wstring text) noexcept : m_text(std::move(text)) {}
    /// Copies the characters as they are, NUL included.
    explicit String(std::wstring_view text) : m_text(text) {}

    /// Decodes UTF-8 (RFC 3629). Overlong forms, surrogates, values above U+10FFFF and cut sequences throw a
    /// CError "Invalid UTF-8 data."
    static String fromUTF8(std::string_view bytes);
    /// Decodes UTF-8 and puts one U+FFFD for each byte that belongs to no valid sequence.
    static String fromUTF8Lossy(std::string_view bytes);
    /// Decodes ISO-8859-1: each byte is the character of that number.
    static String fromLatin1(std::string_view bytes);
    /// Decimal form of a number.
    static String fromInt(int64 value);

    /// Like fromUTF8, into this object and its existing memory. Empty after a throw.
    void assignUTF8(std::string_view bytes);

    /// UTF-8 bytes; an unpaired surrogate or a value above U+10FFFF becomes U+FFFD.
    std::string toUTF8() const;
    /// ISO-8859-1 bytes; what has no place there becomes '?'.
    std::string toLatin1() const;

    /// Whether the text is "".
    bool isEmpty() const noexcept { return m_text.empty(); }
    /// Number of units.
    std::size_t length() const noexcept { return m_text.size(); }
    /// The unit at a position up to length(), where a NUL is; beyond is undefined.
    wchar_t operator[](std::size_t index) const noexcept { return m_text[index]; }
    /// @{

    /// The units, with a NUL behind them (c_str) or their number (view). Valid until the text is changed.
    const wchar_t* c_str() const noexcept { return m_text.c_str(); }
    std::wstring_view view() const noexcept { return m_text; }
    /// @}

    /// Makes the text empty and keeps its memory.
    void clear() noexcept { m_text.clear(); }

    /// @{

    /// Position of the first occurrence at or after `from`, or npos. An `ascii` text must be ASCII.
    std::size_t find(wchar_t character, std::size_t from = 0) const noexcept {
        return m_text.find(character, from);
    }
    std::size_t find(const String& text, std::size_t from = 0) const noexcept {
        return m_text.find(text.m_text, from);
    }
    std::size_t find(const char* ascii, std::size_t from = 0) const noexcept;
    /// @}

    /// Position of the last occurrence, or npos.
    std::size_t findLast(wchar_t character) const noexcept { return m_text.rfind(character); }

    /// @{

    /// Compares with the beginning, the end or the whole. `ascii` must be ASCII text; "NoCase" takes 'A' to
    /// 'Z' for 'a' to 'z'. Every text begins and ends with the empty one.
    bool startsWith(const char* ascii) const noexcept;
    bool startsWith(const String& text) const noexcept { return view().starts_with(text.view()); }
    bool startsWithNoCase(const char* ascii) const noexcept;
    bool endsWith(const char* ascii) const noexcept;
    bool equalsNoCase(const char* ascii) const noexcept;
    /// @}

    /// At most `count` units from `position` on; a position past the end gives the empty text.
    String substr(std::size_t position, std::size_t count = npos) const;
    /// The text with 'A' to 'Z' turned into 'a' to 'z'.
    String toLower() const;
    /// The text without the white space at both ends.
    String trimmed() const;

    /// Turns 'A' to 'Z' into 'a' to 'z', in place.
    void makeLower() noexcept;
    /// @{

    /// Removes the white space at both ends, at the beginning or at the end.
    void trim();
    void trimLeft();
    void trimRight();
    /// @}

    /// Replaces every occurrence, from the left, without looking at what was put in. An empty `from` does
    /// nothing.
    void replaceAll(const String& from, const String& to);
    /// Replaces at most `count` units from `position` on; a position past the end counts as the end.
    void replace(std::size_t position, std::size_t count, const String& by);

    /// @{

    /// Appends. `utf8` is decoded strictly, and null is the empty text; the text is as before after a throw.
    String& operator+=(const String& text) {
        m_text += text.m_text;
        return *this;
    }
    String& operator+=(const char* utf8);
    String& operator+=(wchar_t character) {
        m_text += character;
        return *this;
    }
    void append(std::wstring_view text) { m_text += text; }
    /// @}

    /// Replaces the text by another, in its existing memory where that suffices.
    void assign(std::wstring_view text) { m_text = text; }

    /// @{

    /// Both texts in a row. `right` is decoded strictly where it is UTF-8.
    friend String operator+(const String& left, const String& right) {
        return String(left.m_text + right.m_text);
    }
    friend String operator+(String&& left, const String& right) {
        left += right;
        return std::move(left);
    }
    friend String operator+(String&& left, const char* right) {
        left += right;
        return std::move(left);
    }

    /// @}

    /// @{

    /// Ordinal: unit by unit. An `ascii` text must be ASCII.
    friend bool operator==(const String& left, const String& right) noexcept {
        return left.m_text == right.m_text;
    }
    friend std::strong_ordering operator<=>(const String& left, const String& right) noexcept {
        return left.m_text.compare(right.m_text) <=> 0;
    }
    friend bool operator==(const String& left, const char* ascii) noexcept {
        return left.length() == std::string_view(ascii).size() && left.startsWith(ascii);
    }
    friend std::strong_ordering operator<=>(const String& left, const char* ascii) noexcept {
        return left.compare(ascii) <=> 0;
    }
    /// @}

private:
    int compare(const char* ascii) const noexcept;

    std::wstring m_text;
};

/// White space as String trims it.
constexpr bool isWhiteSpace(wchar_t c) noexcept {
    return c == L' ' || (c >= L'\t' && c <= L'\r');
}

/// The part of a text between the white space at its ends.
ZET_API std::wstring_view trimmed(std::wstring_view text) noexcept;

}  // namespace zet
