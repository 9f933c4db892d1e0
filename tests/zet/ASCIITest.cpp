#include "zet/ASCII.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

using namespace std::string_view_literals;

template <class Char>
std::string membersOf(bool (*isMember)(Char)) {
    std::string members;
    for (int i = 0; i < 256; ++i) {
        if (isMember(static_cast<Char>(i))) {
            members += static_cast<char>(i);
        }
    }
    return members;
}

template <class Char>
class ASCIITest : public testing::Test {};

using CharacterTypes = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(ASCIITest, CharacterTypes);

TYPED_TEST(ASCIITest, KnowsDigitsAndLetters) {
    EXPECT_EQ(membersOf<TypeParam>([](TypeParam c) { return zet::isDigit(c); }), "0123456789");
    EXPECT_EQ(membersOf<TypeParam>([](TypeParam c) { return zet::isHexDigit(c); }), "0123456789ABCDEFabcdef");
    EXPECT_EQ(membersOf<TypeParam>([](TypeParam c) { return zet::isAlpha(c); }),
              "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz");
    EXPECT_EQ(membersOf<TypeParam>([](TypeParam c) { return zet::isAlphanumeric(c); }),
              "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz");
}

TYPED_TEST(ASCIITest, KnowsWhichCharactersAreASCII) {
    std::string first128;
    for (int i = 0; i < 128; ++i) {
        first128 += static_cast<char>(i);
    }
    EXPECT_EQ(membersOf<TypeParam>([](TypeParam c) { return zet::isASCII(c); }), first128);
}

TYPED_TEST(ASCIITest, KnowsControlCharacters) {
    std::string controls;
    for (int i = 0; i < 32; ++i) {
        controls += static_cast<char>(i);
    }
    controls += '\x7F';
    EXPECT_EQ(membersOf<TypeParam>([](TypeParam c) { return zet::isControl(c); }), controls);
}

TYPED_TEST(ASCIITest, LowersOnlyLettersOfASCII) {
    for (int i = 0; i < 256; ++i) {
        const auto c = static_cast<TypeParam>(i);
        EXPECT_EQ(zet::toLower(c), i >= 'A' && i <= 'Z' ? static_cast<TypeParam>(i + 32) : c) << i;
    }
}

TEST(ASCIIWideTest, HasNoPropertiesBeyondASCII) {
    // Their low bytes are ASCII characters. The last two are negative numbers if wchar_t is signed.
    const std::wstring characters{static_cast<wchar_t>(0x0130), static_cast<wchar_t>(0x4E41),
                                  static_cast<wchar_t>(0xFF10), static_cast<wchar_t>(0x0101),
                                  static_cast<wchar_t>(-1),     static_cast<wchar_t>(-200)};
    for (const wchar_t c : characters) {
        EXPECT_FALSE(zet::isASCII(c) || zet::isControl(c) || zet::isUnicodeControl(c) || zet::isHexDigit(c) ||
                     zet::isAlphanumeric(c));
        EXPECT_EQ(zet::toLower(c), c);
    }
}

TEST(ASCIIWideTest, KnowsControlCharactersOfUnicode) {
    for (int i = 0; i < 256; ++i) {
        EXPECT_EQ(zet::isUnicodeControl(static_cast<wchar_t>(i)), i < 0x20 || (i >= 0x7F && i <= 0x9F)) << i;
    }
}

// A number is refused: isDigit(5) would be false.
template <class T>
concept CanBeDigit = requires(T c) {
    zet::isDigit(c);
};
template <class T>
concept CanBeUnicodeControl = requires(T c) {
    zet::isUnicodeControl(c);
};
static_assert(CanBeDigit<char> && CanBeDigit<wchar_t> && !CanBeDigit<int> && !CanBeDigit<unsigned char>);
static_assert(CanBeUnicodeControl<wchar_t> && !CanBeUnicodeControl<char>);

TEST(ASCIITextTest, ComparesWithoutCase) {
    EXPECT_TRUE(zet::equalsNoCase("Content-Type", "cONTENT-tYPE"));
    EXPECT_TRUE(zet::equalsNoCase(L"Content-Type", L"cONTENT-tYPE"));
    EXPECT_TRUE(zet::equalsNoCase(L"Content-Type", "cONTENT-tYPE"));
    EXPECT_TRUE(zet::equalsNoCase("", ""));
    EXPECT_TRUE(zet::equalsNoCase("a\0b"sv, "A\0B"sv));
    EXPECT_FALSE(zet::equalsNoCase("a", "ab"));
    EXPECT_FALSE(zet::equalsNoCase(L"ab", "a"));
    EXPECT_FALSE(zet::equalsNoCase("@", "`"));
    EXPECT_FALSE(zet::equalsNoCase("[", "{"));
}

TEST(ASCIITextTest, HasNoCaseBeyondASCII) {
    EXPECT_TRUE(zet::equalsNoCase("\xC3\x84", "\xC3\x84"));
    EXPECT_FALSE(zet::equalsNoCase("\xC3\x84", "\xC3\xA4"));
    EXPECT_FALSE(zet::equalsNoCase(L"\x00C4", L"\x00E4"));
    EXPECT_FALSE(zet::equalsNoCase(L"\x00C4", "\xC4"));
    EXPECT_FALSE(zet::equalsNoCase(std::wstring_view(L"\x0141"), "A"));
}

TEST(ASCIITextTest, ComparesBeginningsWithoutCase) {
    EXPECT_TRUE(zet::startsWithNoCase("HTTP/1.1", "http/"));
    EXPECT_TRUE(zet::startsWithNoCase(L"HTTP/1.1", L"http/"));
    EXPECT_TRUE(zet::startsWithNoCase(L"HTTP/1.1", "http/"));
    EXPECT_TRUE(zet::startsWithNoCase("a", ""));
    EXPECT_TRUE(zet::startsWithNoCase("", ""));
    EXPECT_FALSE(zet::startsWithNoCase("htt", "http"));
    EXPECT_FALSE(zet::startsWithNoCase(L"xhttp", "http"));
}

TEST(ASCIITextTest, NamesAFunctionForAlgorithms) {
    const std::string_view port = "8080";
    EXPECT_TRUE(std::all_of(port.begin(), port.end(), zet::isDigit<char>));
}

}  // namespace
