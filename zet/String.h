#pragma once

#include "zet/Export.h"
#include "zet/Types.h"

#include <compare>
#include <cstddef>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <version>
#ifdef __cpp_lib_format
#include <format>
#endif

namespace zet {

/// Text of wide characters: UTF-32 if `wchar_t` has 4 bytes, UTF-16 if it has 2. May contain NUL.
///
/// Narrow texts (`const char*`, `std::string`, `std::string_view`) are UTF-8, whatever the locale. Positions,
/// lengths and comparisons count and compare `wchar_t` units. Case and white space (space, \\t, \\n, \\v,
/// \\f, \\r) are those of ASCII only, because the texts compared without case here are protocol names.
/// Comparing with a narrow text and searching for a `const char*` allocates nothing.
///
/// A plain value: several threads may use different objects. Errors: only the strict decoding of UTF-8 throws
/// (a CError), and `std::bad_alloc` is thrown if there is no memory.
///
/// \code
/// const String name = "Größe.txt";
/// if (name.endsWith(".txt")) {
///     const std::string bytes = name.toUTF8();
///     std::cout << name << '\n';  // UTF-8, too
/// }
/// \endcode
class ZET_API String {
public:
    /// No position. As a count: all units up to the end.
    static constexpr std::size_t npos = std::wstring::npos;

    /// The empty text.
    String() noexcept = default;
    /// @{

    /// Decodes UTF-8 strictly: see fromUTF8(). A null pointer is the empty text.
    String(const char* utf8);
    String(const std::string& utf8) : String(std::string_view(utf8)) {}
    String(std::string_view utf8);
    /// @}

    /// `nullptr` is a mistake; the empty text is `String()`.
    String(std::nullptr_t) = delete;
    /// Copies NUL-terminated characters. A null pointer is the empty text.
    String(const wchar_t* text);
    /// Takes the characters as they are, NUL included.
    String(std::wstring text) noexcept : m_text(std::move(text)) {}
    /// Copies the characters as they are, NUL included.
    explicit String(std::wstring_view text) : m_text(text) {}

    /// Decodes UTF-8 (RFC 3629) strictly.
    /// \throws CError "Invalid UTF-8 data." for overlong forms, surrogates, values above U+10FFFF and
    ///                incomplete sequences
    [[nodiscard]] static String fromUTF8(std::string_view bytes);
    /// Decodes UTF-8. Each byte that belongs to no valid sequence becomes one U+FFFD.
    [[nodiscard]] static String fromUTF8Lossy(std::string_view bytes);
    /// Decodes ISO-8859-1: each byte is the character of that number.
    [[nodiscard]] static String fromLatin1(std::string_view bytes);
    /// Decimal form of a number.
    [[nodiscard]] static String fromInt(int64 value);

    /// Like fromUTF8(), but into this object and its existing memory. The text is empty after an error.
    void assignUTF8(std::string_view bytes);

    /// @{

    /// UTF-8 bytes. An unpaired surrogate or a value above U+10FFFF becomes U+FFFD.
    [[nodiscard]] std::string toUTF8() const;
    explicit operator std::string() const { return toUTF8(); }
    /// @}

    /// ISO-8859-1 bytes. Every other character becomes '?'.
    [[nodiscard]] std::string toLatin1() const;

    /// True if the text is "".
    [[nodiscard]] bool isEmpty() const noexcept { return m_text.empty(); }
    /// Number of units.
    [[nodiscard]] std::size_t length() const noexcept { return m_text.size(); }
    /// The unit at a position; the one at length() is NUL. A position beyond length() is undefined.
    wchar_t operator[](std::size_t index) const noexcept { return m_text[index]; }
    /// @{

    /// The units, with a NUL after them (c_str) or with their number (view). Valid until the text is changed.
    [[nodiscard]] const wchar_t* c_str() const noexcept { return m_text.c_str(); }
    [[nodiscard]] std::wstring_view view() const noexcept { return m_text; }
    /// @}

    /// Makes the text empty; keeps its memory.
    void clear() noexcept { m_text.clear(); }

    /// @{

    /// Position of the first occurrence at or after `from`, or npos. An `ascii` text must be ASCII.
    [[nodiscard]] std::size_t find(wchar_t character, std::size_t from = 0) const noexcept {
        return m_text.find(character, from);
    }
    [[nodiscard]] std::size_t find(const String& text, std::size_t from = 0) const noexcept {
        return m_text.find(text.m_text, from);
    }
    [[nodiscard]] std::size_t find(const char* ascii, std::size_t from = 0) const noexcept;
    /// @}

    /// Position of the last occurrence, or npos.
    [[nodiscard]] std::size_t findLast(wchar_t character) const noexcept { return m_text.rfind(character); }

    /// @{

    /// Compares with the beginning, the end or the whole text. `ascii` must be ASCII. "NoCase" takes 'A' to
    /// 'Z' for 'a' to 'z'. Every text begins and ends with the empty one.
    [[nodiscard]] bool startsWith(const char* ascii) const noexcept;
    [[nodiscard]] bool startsWith(const String& text) const noexcept {
        return view().starts_with(text.view());
    }
    [[nodiscard]] bool startsWithNoCase(const char* ascii) const noexcept;
    [[nodiscard]] bool endsWith(const char* ascii) const noexcept;
    [[nodiscard]] bool equalsNoCase(const char* ascii) const noexcept;
    /// @}

    /// At most `count` units from `position` on. A position after the end gives the empty text.
    [[nodiscard]] String substr(std::size_t position, std::size_t count = npos) const;
    /// The text with 'A' to 'Z' turned into 'a' to 'z'.
    [[nodiscard]] String toLower() const;
    /// The text without the white space at both ends.
    [[nodiscard]] String trimmed() const;

    /// Turns 'A' to 'Z' into 'a' to 'z', in place.
    void makeLower() noexcept;
    /// @{

    /// Removes the white space at both ends, at the beginning or at the end.
    void trim();
    void trimLeft();
    void trimRight();
    /// @}

    /// Replaces every occurrence, from the left. The inserted text is not searched. An empty `from` has no
    /// effect.
    void replaceAll(const String& from, const String& to);
    /// Replaces at most `count` units from `position` on. A position after the end means the end.
    void replace(std::size_t position, std::size_t count, const String& by);

    /// @{

    /// Appends. `utf8` is decoded strictly; null is the empty text. The text is unchanged after an error.
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

    /// A number is not a character: append String::fromInt(65) or L'A'.
    template <class Number>
    requires(std::is_arithmetic_v<Number> && !std::is_same_v<Number, wchar_t> &&
             !std::is_same_v<Number, char>) String&
    operator+=(Number) = delete;

    /// Replaces the text by another one, in its existing memory if that is large enough.
    void assign(std::wstring_view text) { m_text = text; }

    /// @{

    /// Both texts, one after the other. Narrow texts are decoded strictly as UTF-8.
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

    /// Compares unit by unit. A narrow text is UTF-8. One that is invalid equals no text: its first invalid
    /// byte is greater than every unit. A null pointer is the empty text.
    friend bool operator==(const String& left, const String& right) noexcept {
        return left.m_text == right.m_text;
    }
    friend std::strong_ordering operator<=>(const String& left, const String& right) noexcept {
        return left.m_text.compare(right.m_text) <=> 0;
    }
    friend bool operator==(const String& left, const char* utf8) noexcept { return left.compare(utf8) == 0; }
    friend std::strong_ordering operator<=>(const String& left, const char* utf8) noexcept {
        return left.compare(utf8) <=> 0;
    }
    friend bool operator==(const String& left, const std::string& utf8) noexcept {
        return left.compare(std::string_view(utf8)) == 0;
    }
    friend std::strong_ordering operator<=>(const String& left, const std::string& utf8) noexcept {
        return left.compare(std::string_view(utf8)) <=> 0;
    }
    friend bool operator==(const String& left, std::string_view utf8) noexcept {
        return left.compare(utf8) == 0;
    }
    friend std::strong_ordering operator<=>(const String& left, std::string_view utf8) noexcept {
        return left.compare(utf8) <=> 0;
    }
    /// @}

    /// Writes UTF-8 bytes.
    template <class Traits>
    friend std::basic_ostream<char, Traits>& operator<<(std::basic_ostream<char, Traits>& out,
                                                        const String& text) {
        return out << text.toUTF8();
    }

private:
    int compare(const char* utf8) const noexcept;
    int compare(std::string_view utf8) const noexcept;

    std::wstring m_text;
};

/// True for the white space that String trims: space, \\t, \\n, \\v, \\f, \\r.
[[nodiscard]] constexpr bool isWhiteSpace(wchar_t c) noexcept {
    return c == L' ' || (c >= L'\t' && c <= L'\r');
}

/// The part of a text between the white space at its ends.
[[nodiscard]] ZET_API std::wstring_view trimmed(std::wstring_view text) noexcept;

}  // namespace zet

/// Lets a String be the key of an unordered container.
template <>
struct std::hash<zet::String> {
    /// Equal texts have equal hashes.
    std::size_t operator()(const zet::String& text) const noexcept {
        return std::hash<std::wstring_view>()(text.view());
    }
};

#ifdef __cpp_lib_format
/// Formats a String as its UTF-8 bytes, with the format of a `std::string_view`.
template <>
struct std::formatter<zet::String, char> : std::formatter<std::string_view, char> {
    /// Writes the text.
    template <class Context>
    auto format(const zet::String& text, Context& context) const {
        return std::formatter<std::string_view, char>::format(text.toUTF8(), context);
    }
};
#endif
