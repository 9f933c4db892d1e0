#include "zet/String.h"

#include "tests/support/WhatOf.h"
#include "zet/Error.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <iomanip>
#include <limits>
#include <sstream>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

using namespace std::string_literals;
using namespace std::string_view_literals;

namespace {

using vexil_test::whatOf;

using zet::String;

/// The units of one character in a `String`: two if wchar_t has two bytes and the character needs two.
std::wstring wide(char32_t c) {
    if (sizeof(wchar_t) == 2 && c > 0xFFFF) {
        const char32_t rest = c - 0x10000;
        return {static_cast<wchar_t>(0xD800 + (rest >> 10)), static_cast<wchar_t>(0xDC00 + (rest & 0x3FF))};
    }
    return {static_cast<wchar_t>(c)};
}

std::string messageOf(std::string_view bytes) {
    try {
        static_cast<void>(String::fromUTF8(bytes));
    } catch (const zet::CError& error) {
        return error.what();
    }
    return "no error";
}

std::string described(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        text += "0123456789ABCDEF"[value >> 4];
        text += "0123456789ABCDEF"[value & 0xF];
    }
    return text;
}

struct CCharacter {
    char32_t value;
    std::string_view bytes;
};

/// Both ends of every range in RFC 3629.
const std::vector<CCharacter> boundaryCharacters{
    {0x0, "\0"sv},
    {0x1, "\x01"sv},
    {0x7F, "\x7F"sv},
    {0x80, "\xC2\x80"sv},
    {0x7FF, "\xDF\xBF"sv},
    {0x800, "\xE0\xA0\x80"sv},
    {0xFFF, "\xE0\xBF\xBF"sv},
    {0x1000, "\xE1\x80\x80"sv},
    {0xCFFF, "\xEC\xBF\xBF"sv},
    {0xD000, "\xED\x80\x80"sv},
    {0xD7FF, "\xED\x9F\xBF"sv},
    {0xE000, "\xEE\x80\x80"sv},
    {0xFEFF, "\xEF\xBB\xBF"sv},
    {0xFFFD, "\xEF\xBF\xBD"sv},
    {0xFFFE, "\xEF\xBF\xBE"sv},
    {0xFFFF, "\xEF\xBF\xBF"sv},
    {0x10000, "\xF0\x90\x80\x80"sv},
    {0x3FFFF, "\xF0\xBF\xBF\xBF"sv},
    {0x40000, "\xF1\x80\x80\x80"sv},
    {0xFFFFF, "\xF3\xBF\xBF\xBF"sv},
    {0x100000, "\xF4\x80\x80\x80"sv},
    {0x10FFFF, "\xF4\x8F\xBF\xBF"sv},
};

/// Texts in which no byte belongs to a valid sequence.
const std::vector<std::string_view> invalidBytes{
    // Continuation bytes without a first byte.
    "\x80"sv,
    "\xBF"sv,
    "\x80\xBF"sv,
    // Overlong forms.
    "\xC0\x80"sv,
    "\xC0\xAF"sv,
    "\xC1\xBF"sv,
    "\xE0\x80\x80"sv,
    "\xE0\x9F\xBF"sv,
    "\xF0\x80\x80\x80"sv,
    "\xF0\x8F\xBF\xBF"sv,
    // Surrogates, alone and as a pair.
    "\xED\xA0\x80"sv,
    "\xED\xAF\xBF"sv,
    "\xED\xB0\x80"sv,
    "\xED\xBF\xBF"sv,
    "\xED\xA0\xBD\xED\xB8\x80"sv,
    // Above U+10FFFF.
    "\xF4\x90\x80\x80"sv,
    "\xF5\x80\x80\x80"sv,
    "\xF7\xBF\xBF\xBF"sv,
    // Sequences of five and six bytes, and bytes that never occur in UTF-8.
    "\xF8\x88\x80\x80\x80"sv,
    "\xFC\x84\x80\x80\x80\x80"sv,
    "\xFE"sv,
    "\xFF"sv,
    // Incomplete sequences.
    "\xC2"sv,
    "\xDF"sv,
    "\xE0"sv,
    "\xE0\xA0"sv,
    "\xEF\xBF"sv,
    "\xF0"sv,
    "\xF0\x90"sv,
    "\xF0\x90\x80"sv,
    "\xF4\x8F\xBF"sv,
};

TEST(StringTest, DecodesAndEncodesEveryBoundaryCharacter) {
    for (const CCharacter& character : boundaryCharacters) {
        const String text = String::fromUTF8(character.bytes);
        EXPECT_EQ(text.view(), wide(character.value)) << described(character.bytes);
        EXPECT_EQ(text.toUTF8(), character.bytes) << described(character.bytes);
    }
}

TEST(StringTest, DecodesAndEncodesEveryCharacter) {
    std::wstring characters;
    for (char32_t c = 0; c <= 0x10FFFF; ++c) {
        if (c < 0xD800 || c > 0xDFFF) {
            characters += wide(c);
        }
    }
    const String text(characters);
    const std::string bytes = text.toUTF8();
    EXPECT_EQ(bytes.size(), 0x80u + 0x780u * 2 + (0xF800u - 0x800u) * 3 + 0x100000u * 4);
    EXPECT_TRUE(String::fromUTF8(bytes) == text);
}

TEST(StringTest, AcceptsExactlyTheTwoByteSequencesOfTheStandard) {
    for (int first = 0x80; first <= 0xFF; ++first) {
        for (int second = 0; second <= 0xFF; ++second) {
            const std::string bytes{static_cast<char>(first), static_cast<char>(second)};
            const bool isValid = first >= 0xC2 && first <= 0xDF && second >= 0x80 && second <= 0xBF;
            EXPECT_EQ(messageOf(bytes) == "no error", isValid) << described(bytes);
        }
    }
}

TEST(StringTest, RefusesWhatIsNotUTF8) {
    for (const std::string_view bytes : invalidBytes) {
        EXPECT_EQ(messageOf(bytes), "Invalid UTF-8 data.") << described(bytes);
    }
}

TEST(StringTest, RefusesInvalidBytesAtEveryPosition) {
    for (const std::string_view bytes : invalidBytes) {
        for (std::size_t before = 0; before < 20; ++before) {
            const std::string text = std::string(before, 'a') + std::string(bytes) + "zz";
            EXPECT_EQ(messageOf(text), "Invalid UTF-8 data.") << described(text);
        }
    }
}

TEST(StringTest, RefusesACutBetweenEveryTwoBytesOfASequence) {
    for (const CCharacter& character : boundaryCharacters) {
        for (std::size_t cut = 1; cut < character.bytes.size(); ++cut) {
            EXPECT_NE(messageOf(character.bytes.substr(0, cut)), "no error");
            EXPECT_NE(messageOf(std::string(character.bytes.substr(0, cut)) + "a"), "no error");
            EXPECT_NE(messageOf(character.bytes.substr(cut)), "no error");
        }
    }
}

TEST(StringTest, DecodesAndEncodesACharacterAfterAnyNumberOfASCIICharacters) {
    const std::string digits = "0123456789";
    std::string ascii;
    for (std::size_t i = 0; i < 70; ++i) {
        const std::string bytes = ascii + "\xC3\xA4" + ascii;
        const std::wstring wide(ascii.begin(), ascii.end());
        EXPECT_EQ(String::fromUTF8(ascii).view(), wide) << i;
        EXPECT_EQ(String::fromUTF8(ascii).toUTF8(), ascii) << i;
        EXPECT_EQ(String::fromUTF8(bytes).view(), wide + L'\u00E4' + wide) << i;
        EXPECT_EQ(String::fromUTF8(bytes).toUTF8(), bytes) << i;
        ascii += digits[i % digits.size()];
    }
}

TEST(StringTest, IsEmptyAfterAFailedAssignment) {
    String text("before");
    EXPECT_THROW(text.assignUTF8("good, then bad: \xFF"), zet::CError);
    EXPECT_TRUE(text.isEmpty());
    text.assignUTF8("\xC3\xA4");
    EXPECT_EQ(text.view(), L"\u00E4");
    text.assignUTF8("");
    EXPECT_TRUE(text.isEmpty());
}

TEST(StringTest, AssigningReplacesTheOldText) {
    String text("a text that is longer");
    text.assignUTF8("\xC3\xA4z");
    EXPECT_EQ(text.view(), L"\u00E4z");
    text.assignUTF8("plain");
    EXPECT_EQ(text.view(), L"plain");
}

TEST(StringTest, LossyDecodingReplacesEachInvalidByte) {
    EXPECT_EQ(String::fromUTF8Lossy("a\xFFz").view(), L"a\uFFFDz");
    EXPECT_EQ(String::fromUTF8Lossy("\xE2\x82").view(), L"\uFFFD\uFFFD");
    EXPECT_EQ(String::fromUTF8Lossy("\xE2\x82z").view(), L"\uFFFD\uFFFDz");
    EXPECT_EQ(String::fromUTF8Lossy("\xE2\x82\xC3\xA4").view(), L"\uFFFD\uFFFD\u00E4");
    for (const std::string_view bytes : invalidBytes) {
        EXPECT_EQ(String::fromUTF8Lossy(bytes).view(), std::wstring(bytes.size(), L'\uFFFD'))
            << described(bytes);
    }
}

TEST(StringTest, LossyDecodingLeavesValidTextAsItIs) {
    for (const CCharacter& character : boundaryCharacters) {
        EXPECT_EQ(String::fromUTF8Lossy(character.bytes).view(), wide(character.value));
    }
}

TEST(StringTest, EncodesUnpairedSurrogatesAsReplacements) {
    const auto encoded = [](std::wstring text) { return String(std::move(text)).toUTF8(); };
    EXPECT_EQ(encoded({static_cast<wchar_t>(0xD800)}), "\xEF\xBF\xBD");
    EXPECT_EQ(encoded({static_cast<wchar_t>(0xDFFF)}), "\xEF\xBF\xBD");
    EXPECT_EQ(encoded({static_cast<wchar_t>(0xD83D), L'a'}), "\xEF\xBF\xBD"
                                                             "a");
    EXPECT_EQ(encoded({static_cast<wchar_t>(0xDE00), static_cast<wchar_t>(0xD83D)}),
              "\xEF\xBF\xBD\xEF\xBF\xBD");
    // The pair is one character in UTF-16 and two unpaired surrogates in UTF-32.
    EXPECT_EQ(encoded({static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDE00)}),
              sizeof(wchar_t) == 2 ? "\xF0\x9F\x98\x80" : "\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(StringTest, EncodesInvalidCodePointsAsReplacements) {
    if (sizeof(wchar_t) > 2) {
        for (const std::uint32_t value : {0x110000u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
            const String text(std::wstring{static_cast<wchar_t>(value)});
            EXPECT_EQ(text.toUTF8(), "\xEF\xBF\xBD") << value;
            EXPECT_EQ(text.toLatin1(), "?") << value;
        }
    }
}

TEST(StringTest, CarriesEveryByteThroughLatin1) {
    std::string bytes;
    for (int i = 0; i < 256; ++i) {
        bytes += static_cast<char>(i);
    }
    const String text = String::fromLatin1(bytes);
    ASSERT_EQ(text.length(), 256u);
    for (unsigned i = 0; i < 256; ++i) {
        EXPECT_EQ(static_cast<unsigned>(text[i]), i);
    }
    EXPECT_EQ(text.toLatin1(), bytes);
}

TEST(StringTest, ReplacesCharactersOutsideLatin1ByAQuestionMark) {
    EXPECT_EQ(String(L"a\u00FFz").toLatin1(), "a\xFFz");
    EXPECT_EQ(String(L"a\u0100z\u20AC").toLatin1(), "a?z?");
    EXPECT_EQ(String(wide(0x1F600)).toLatin1(), "?") << "one character, one question mark";
    EXPECT_EQ(String(std::wstring{static_cast<wchar_t>(0xD800)}).toLatin1(), "?");
}

TEST(StringTest, KeepsNulCharacters) {
    const String text = String::fromUTF8("a\0b\0"sv);
    EXPECT_EQ(text.length(), 4u);
    EXPECT_EQ(text.toUTF8(), "a\0b\0"s);
    EXPECT_EQ(text.toLatin1(), "a\0b\0"s);
    EXPECT_EQ(String::fromLatin1("\0"sv).length(), 1u);
    EXPECT_EQ(String::fromUTF8Lossy("\0\xFF"sv).length(), 2u);
    EXPECT_EQ(text.find(L'\0'), 1u);
    EXPECT_NE(text, "a");
    EXPECT_FALSE(text.equalsNoCase("a"));
    EXPECT_EQ((text + "c").length(), 5u);
    EXPECT_EQ(text.trimmed(), text);
}

TEST(StringTest, TakesNullForTheEmptyText) {
    EXPECT_TRUE(String().isEmpty());
    EXPECT_TRUE(String(static_cast<const char*>(nullptr)).isEmpty());
    EXPECT_TRUE(String(static_cast<const wchar_t*>(nullptr)).isEmpty());
    EXPECT_TRUE(String("").isEmpty());
    EXPECT_TRUE(String(L"").isEmpty());
    EXPECT_TRUE(String::fromUTF8({}).isEmpty());
    EXPECT_TRUE(String::fromUTF8Lossy({}).isEmpty());
    EXPECT_TRUE(String::fromLatin1({}).isEmpty());
    EXPECT_EQ(String().toUTF8(), "");
    EXPECT_EQ(String().toLatin1(), "");
    String text("a");
    text += static_cast<const char*>(nullptr);
    EXPECT_EQ(text, "a");
}

TEST(StringTest, DecodesACharPointerStrictly) {
    EXPECT_EQ(String("\xE2\x82\xAC").view(), L"\u20AC");
    EXPECT_THROW(String("\xE2\x82"), zet::CError);
    String text("a");
    EXPECT_THROW(text += "\xFF", zet::CError);
    EXPECT_EQ(text, "a") << "nothing is appended if a part is invalid";
    text += "\xC3\xA4";
    EXPECT_EQ(text.view(), L"a\u00E4");
}

TEST(StringTest, IsMadeOfNarrowTexts) {
    const std::string umlaut = "\xC3\xA4";
    EXPECT_EQ(String(umlaut), L"\u00E4");
    EXPECT_EQ(String(std::string_view(umlaut)), L"\u00E4");
    const String implicitly = umlaut;
    EXPECT_EQ(implicitly, L"\u00E4");
    EXPECT_EQ(String("a\0b"sv).length(), 3u);
    EXPECT_TRUE(String(std::string_view()).isEmpty());
    String assigned;
    assigned = umlaut;
    EXPECT_EQ(assigned, L"\u00E4");
}

TEST(StringTest, DecodesNarrowTextsStrictly) {
    EXPECT_EQ(whatOf([] { String text("\xFF"s); }), "Invalid UTF-8 data.");
    EXPECT_EQ(whatOf([] { String text("\xC3"sv); }), "Invalid UTF-8 data.");
    String text = "a";
    EXPECT_EQ(whatOf([&] { text += "\xFF"s; }), "Invalid UTF-8 data.");
    EXPECT_EQ(text, "a");
}

TEST(StringTest, ConvertsToANarrowTextOnRequest) {
    EXPECT_EQ(std::string(String(L"\u00E4")), "\xC3\xA4");
    static_assert(!std::is_convertible_v<String, std::string>);
}

TEST(StringTest, WritesNumbersInDecimal) {
    EXPECT_EQ(String::fromInt(0), "0");
    EXPECT_EQ(String::fromInt(-1), "-1");
    EXPECT_EQ(String::fromInt(4294967296), "4294967296");
    EXPECT_EQ(String::fromInt(std::numeric_limits<zet::int64>::max()), "9223372036854775807");
    EXPECT_EQ(String::fromInt(std::numeric_limits<zet::int64>::min()), "-9223372036854775808");
}

TEST(StringTest, GivesAccessToItsUnits) {
    String text(std::wstring_view(L"abc"));
    EXPECT_FALSE(text.isEmpty());
    EXPECT_EQ(text.length(), 3u);
    EXPECT_EQ(text[0], L'a');
    EXPECT_EQ(text[2], L'c');
    EXPECT_STREQ(text.c_str(), L"abc");
    EXPECT_EQ(text.view(), L"abc");
    text.clear();
    EXPECT_TRUE(text.isEmpty());
}

TEST(StringTest, FindsCharactersAndTexts) {
    const String text("abcabc");
    EXPECT_EQ(text.find(L'b'), 1u);
    EXPECT_EQ(text.find(L'b', 1), 1u);
    EXPECT_EQ(text.find(L'b', 2), 4u);
    EXPECT_EQ(text.find(L'b', 5), String::npos);
    EXPECT_EQ(text.find(L'z'), String::npos);
    EXPECT_EQ(text.find(L'a', 100), String::npos);
    EXPECT_EQ(text.findLast(L'b'), 4u);
    EXPECT_EQ(text.findLast(L'z'), String::npos);
    EXPECT_EQ(text.find(String("ca")), 2u);
    EXPECT_EQ(text.find(String("bc"), 2), 4u);
    EXPECT_EQ(text.find(String("cb")), String::npos);
    EXPECT_EQ(text.find(String("abc"), 100), String::npos);
}

TEST(StringTest, FindsPlainASCIILikeAnyOtherText) {
    for (const char* haystack : {"", "a", "ab", "aab", "abab", "bbbba"}) {
        for (const char* needle : {"", "a", "ab", "b", "abc", "ba"}) {
            for (std::size_t from = 0; from < 8; ++from) {
                EXPECT_EQ(String(haystack).find(needle, from), String(haystack).find(String(needle), from))
                    << haystack << " " << needle << " " << from;
            }
        }
    }
    EXPECT_EQ(String(L"\u20AC=5").find("=5"), 1u);
}

TEST(StringTest, ComparesTheStartAndTheEnd) {
    const String text("http://x");
    EXPECT_TRUE(text.startsWith("http://"));
    EXPECT_TRUE(text.startsWith("http://x"));
    EXPECT_TRUE(text.startsWith(""));
    EXPECT_FALSE(text.startsWith("http://xy"));
    EXPECT_FALSE(text.startsWith("HTTP"));
    EXPECT_FALSE(text.startsWith("ttp"));
    EXPECT_TRUE(text.startsWith(String("http")));
    EXPECT_FALSE(text.startsWith(String("ftp")));
    EXPECT_TRUE(text.startsWithNoCase("HtTp://X"));
    EXPECT_TRUE(text.startsWithNoCase(""));
    EXPECT_FALSE(text.startsWithNoCase("https"));
    EXPECT_FALSE(text.startsWithNoCase("http://xy"));
    EXPECT_TRUE(text.endsWith("/x"));
    EXPECT_TRUE(text.endsWith("http://x"));
    EXPECT_TRUE(text.endsWith(""));
    EXPECT_FALSE(text.endsWith("/X"));
    EXPECT_FALSE(text.endsWith(" http://x"));
}

TEST(StringTest, ComparesWithoutCaseOnlyForASCII) {
    EXPECT_TRUE(String("AbZ@[`{").equalsNoCase("aBz@[`{"));
    EXPECT_FALSE(String("@").equalsNoCase("`")) << "next to the letters in ASCII";
    EXPECT_FALSE(String("[").equalsNoCase("{"));
    EXPECT_FALSE(String("abc").equalsNoCase("ab"));
    EXPECT_FALSE(String("ab").equalsNoCase("abc"));
    EXPECT_TRUE(String().equalsNoCase(""));
    EXPECT_FALSE(String(L"\u0130").equalsNoCase("i"));
    EXPECT_FALSE(String(L"\u212A").equalsNoCase("k")) << "the Kelvin sign is not a k";
    EXPECT_FALSE(String(L"\u0141").equalsNoCase("A")) << "units are not cut to bytes";
}

TEST(StringTest, LowersOnlyASCII) {
    const String text(L"AZ@[\u00C4\u0130\u0391az");
    EXPECT_EQ(text.toLower().view(), L"az@[\u00C4\u0130\u0391az");
    EXPECT_EQ(text.view(), L"AZ@[\u00C4\u0130\u0391az");
    String changed(text);
    changed.makeLower();
    EXPECT_EQ(changed, text.toLower());
}

TEST(StringTest, TrimsOnlyWhiteSpaceOfASCII) {
    for (wchar_t c = 0; c < 0x3100; ++c) {
        const bool isWhite = c == L' ' || c == L'\t' || c == L'\n' || c == L'\v' || c == L'\f' || c == L'\r';
        EXPECT_EQ(zet::isWhiteSpace(c), isWhite) << static_cast<int>(c);
        const String text(std::wstring{c, L'x', c});
        EXPECT_EQ(text.trimmed().length(), isWhite ? 1u : 3u) << static_cast<int>(c);
    }
}

TEST(StringTest, TrimsEitherEnd) {
    const String text(" \t\r\n\v\fa b \t");
    String both(text);
    String left(text);
    String right(text);
    both.trim();
    left.trimLeft();
    right.trimRight();
    EXPECT_EQ(both, "a b");
    EXPECT_EQ(left, "a b \t");
    EXPECT_EQ(right, " \t\r\n\v\fa b");
    EXPECT_EQ(text.trimmed(), "a b");
    EXPECT_EQ(zet::trimmed(text.view()), L"a b");
    for (const char* blank : {"", " ", " \n "}) {
        String nothing(blank);
        nothing.trim();
        EXPECT_TRUE(nothing.isEmpty());
        EXPECT_TRUE(String(blank).trimmed().isEmpty());
    }
}

TEST(StringTest, CutsOutParts) {
    const String text("abcdef");
    EXPECT_EQ(text.substr(0), "abcdef");
    EXPECT_EQ(text.substr(2), "cdef");
    EXPECT_EQ(text.substr(2, 3), "cde");
    EXPECT_EQ(text.substr(2, 0), "");
    EXPECT_EQ(text.substr(4, 100), "ef");
    EXPECT_EQ(text.substr(6), "");
    EXPECT_EQ(text.substr(7), "");
    EXPECT_EQ(text.substr(String::npos), "");
}

String withAllReplaced(const char* text, const char* from, const char* to) {
    String result(text);
    result.replaceAll(from, to);
    return result;
}

TEST(StringTest, ReplacesEveryOccurrenceFromTheLeft) {
    EXPECT_EQ(withAllReplaced("a%20b%20", "%20", "+"), "a+b+");
    EXPECT_EQ(withAllReplaced("aaaaa", "aa", "b"), "bba");
    EXPECT_EQ(withAllReplaced("aaa", "a", "aa"), "aaaaaa") << "the inserted text is not searched";
    EXPECT_EQ(withAllReplaced("aab", "ab", "b"), "ab");
    EXPECT_EQ(withAllReplaced("abc", "abc", ""), "");
    EXPECT_EQ(withAllReplaced("abc", "x", "y"), "abc");
    EXPECT_EQ(withAllReplaced("abc", "", "y"), "abc");
    EXPECT_EQ(withAllReplaced("", "a", "y"), "");
    String self("ab");
    self.replaceAll(self, self + self);
    EXPECT_EQ(self, "abab");
    self.replaceAll(self, self);
    EXPECT_EQ(self, "abab");
}

TEST(StringTest, ReplacesAPart) {
    const auto replaced = [](std::size_t position, std::size_t count) {
        String text("abcdef");
        text.replace(position, count, "XY");
        return text;
    };
    EXPECT_EQ(replaced(0, 0), "XYabcdef");
    EXPECT_EQ(replaced(1, 2), "aXYdef");
    EXPECT_EQ(replaced(4, 100), "abcdXY");
    EXPECT_EQ(replaced(6, 1), "abcdefXY");
    EXPECT_EQ(replaced(7, 1), "abcdefXY");
    EXPECT_EQ(replaced(String::npos, String::npos), "abcdefXY");
}

TEST(StringTest, JoinsTexts) {
    String text("a");
    text += String("b");
    text += "c";
    text += L'd';
    text.append(L"ef");
    EXPECT_EQ(text, "abcdef");
    text += text;
    EXPECT_EQ(text, "abcdefabcdef");
    const String left("x");
    const String right("y");
    EXPECT_EQ(left + right, "xy");
    EXPECT_EQ(left + "\xC3\xA4", String(L"x\u00E4"));
    EXPECT_EQ("a" + left, "ax");
    EXPECT_EQ(String("a") + right + "z" + String("!"), "ayz!");
    EXPECT_EQ(left, "x");
    EXPECT_EQ(right, "y");
}

TEST(StringTest, JoinsNarrowTexts) {
    const String text("a");
    const std::string umlaut = "\xC3\xA4";
    EXPECT_EQ(text + umlaut, L"a\u00E4");
    EXPECT_EQ(umlaut + text, L"\u00E4a");
    EXPECT_EQ(text + std::string_view(umlaut), L"a\u00E4");
    EXPECT_EQ(std::string_view(umlaut) + text, L"\u00E4a");
    EXPECT_EQ(String("b") + umlaut + "c", L"b\u00E4c");
    String sum = text;
    sum += umlaut;
    sum += std::string_view("b");
    sum += 'c';
    EXPECT_EQ(sum, L"a\u00E4bc");
}

// A number is not a character, and a null pointer is not a text.
template <class T>
concept CanBeAppended = requires(String text, T value) {
    text += value;
};
static_assert(CanBeAppended<wchar_t> && CanBeAppended<char> && CanBeAppended<const char*>);
static_assert(CanBeAppended<std::string> && CanBeAppended<std::string_view>);
static_assert(!CanBeAppended<int> && !CanBeAppended<zet::int64> && !CanBeAppended<bool> &&
              !CanBeAppended<double>);
static_assert(!CanBeAppended<unsigned char> && !CanBeAppended<char32_t>);
static_assert(!std::is_constructible_v<String, std::nullptr_t> && !std::is_constructible_v<String, int>);

TEST(StringTest, OrdersUnitByUnit) {
    EXPECT_LT(String("A"), String("a"));
    EXPECT_LT(String("Z"), String("a"));
    EXPECT_LT(String(""), String("a"));
    EXPECT_LT(String("a"), String("ab"));
    EXPECT_LT(String("z"), String(L"\u00E4"));
    EXPECT_GT(String("b"), String("ab"));
    EXPECT_EQ(String("ab"), String(L"ab"));
    EXPECT_NE(String("ab"), String("AB"));
    EXPECT_LT(String::fromUTF8("a\0a"sv), String::fromUTF8("a\0b"sv));
}

TEST(StringTest, ComparesWithASCIILikeWithAnyOtherText) {
    for (const std::string_view left :
         {""sv, "a"sv, "ab"sv, "b"sv, "A"sv, "abc"sv, "a\0"sv, "\0"sv, "\xC3\xA4"sv}) {
        for (const char* right : {"", "a", "ab", "b", "A", "abc"}) {
            const String text = String::fromUTF8(left);
            EXPECT_EQ(text == right, text == String(right)) << described(left) << " " << right;
            EXPECT_EQ(text <=> right, text <=> String(right)) << described(left) << " " << right;
        }
    }
}

TEST(StringTest, ComparesWithUTF8LikeWithAnyOtherText) {
    const std::vector<std::string> texts{"",
                                         "a",
                                         "ab",
                                         "b",
                                         "\xC3\xA4",
                                         "\xC3\xA4"
                                         "b",
                                         "a\xC3\xA4",
                                         "\xEF\xBF\xBF",
                                         "\xF0\x9F\x98\x80",
                                         "\xF0\x9F\x98\x81",
                                         std::string("a\0b", 3)};
    for (const std::string& left : texts) {
        for (const std::string& right : texts) {
            const String text(left);
            const bool isEqual = left == right;
            const auto order = text <=> String(right);
            EXPECT_EQ(text == right, isEqual) << described(left) << " " << described(right);
            EXPECT_EQ(right == text, isEqual) << described(left) << " " << described(right);
            EXPECT_EQ(text == std::string_view(right), isEqual) << described(left) << " " << described(right);
            EXPECT_EQ(text <=> right, order) << described(left) << " " << described(right);
            EXPECT_EQ(text <=> std::string_view(right), order) << described(left) << " " << described(right);
            EXPECT_EQ(text != right, !isEqual) << described(left) << " " << described(right);
            if (right.find('\0') == std::string::npos) {
                EXPECT_EQ(text == right.c_str(), isEqual) << described(left) << " " << described(right);
                EXPECT_EQ(text <=> right.c_str(), order) << described(left) << " " << described(right);
            }
        }
    }
    EXPECT_EQ(String(), static_cast<const char*>(nullptr));
}

TEST(StringTest, EqualsNoInvalidUTF8) {
    for (const std::string_view invalid : {"\xFF"sv, "a\xFF"sv, "\xC3"sv}) {
        for (const std::wstring_view text : {L""sv, L"a"sv, L"\u00FF"sv, L"\uFFFD"sv, L"\u00C3"sv}) {
            EXPECT_NE(String(text), invalid) << described(invalid);
            EXPECT_NE(String(text), std::string(invalid)) << described(invalid);
        }
    }
    EXPECT_LT(String(L"\uFFFF"), "\xFF"sv);
    EXPECT_GT(String(L"b"), "a\xFF"sv);
}

TEST(StringTest, IsWrittenAsUTF8) {
    std::ostringstream out;
    out << String(L"\u00E4") << std::setw(4) << String("b");
    EXPECT_EQ(out.str(), "\xC3\xA4   b");
}

TEST(StringTest, CanBeTheKeyOfAnUnorderedMap) {
    std::unordered_map<String, int> numbers;
    numbers["a"] = 1;
    numbers[L"\u00E4"] = 2;
    EXPECT_EQ(numbers.at("\xC3\xA4"), 2);
    EXPECT_EQ(numbers.count("b"), 0u);
    EXPECT_NE(std::hash<String>()("a"), std::hash<String>()("b"));
}

#ifdef __cpp_lib_format
TEST(StringTest, CanBeFormatted) {
    EXPECT_EQ(std::format("{}|{:>3}", String(L"\u00E4"), String("b")), "\xC3\xA4|  b");
}
#endif

TEST(StringTest, IsAValue) {
    String text("a text that fits in no small buffer");
    const String copy = text;
    const String moved = std::move(text);
    EXPECT_EQ(copy, moved);
    text = "new";
    EXPECT_EQ(text, "new");
    EXPECT_EQ(copy, "a text that fits in no small buffer");
}

}  // namespace
