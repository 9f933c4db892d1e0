#include "zet/URI.h"

#include <gtest/gtest.h>

#include <string_view>

using namespace std::string_view_literals;

namespace {

using zet::CURI;
using zet::String;

TEST(URITest, LeavesTheUnreservedCharacters) {
    const String unreserved("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~");
    EXPECT_EQ(CURI::escape(unreserved), unreserved);
    EXPECT_EQ(CURI::escape(""), "");
}

TEST(URITest, EscapesEveryOtherByteOfASCII) {
    const String unreserved("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~");
    for (int c = 0; c < 128; ++c) {
        const wchar_t character = static_cast<wchar_t>(c);
        const String escaped = CURI::escape(String(std::wstring{character}));
        if (unreserved.find(character) == String::npos) {
            const char* digits = "0123456789ABCDEF";
            EXPECT_EQ(escaped, String(std::wstring{L'%', static_cast<wchar_t>(digits[c / 16]),
                                                   static_cast<wchar_t>(digits[c % 16])}));
        } else {
            EXPECT_EQ(escaped.length(), 1u);
        }
    }
}

TEST(URITest, EscapesTheBytesOfUTF8) {
    EXPECT_EQ(CURI::escape(L"\u00E4/\u20AC"), "%C3%A4%2F%E2%82%AC");
    EXPECT_EQ(CURI::escape("\xF0\x9F\x98\x80"), "%F0%9F%98%80");
    EXPECT_EQ(CURI::escape(String::fromUTF8("a\0b"sv)), "a%00b");
    EXPECT_EQ(CURI::escape(String(std::wstring{static_cast<wchar_t>(0xD800)})), "%EF%BF%BD");
}

TEST(URITest, WritesTheDigitsInEitherCase) {
    EXPECT_EQ(CURI::escape("/?", true), "%2F%3F");
    EXPECT_EQ(CURI::escape("/?", false), "%2f%3f");
    EXPECT_EQ(CURI::escape("A/", false), "A%2f") << "the text keeps its case";
}

TEST(URITest, LeavesFurtherCharactersOnRequest) {
    EXPECT_EQ(CURI::escape("a/b?c=d&e", true, "/="), "a/b%3Fc=d%26e");
    EXPECT_EQ(CURI::escape("100%", true, "%"), "100%");
    EXPECT_EQ(CURI::escape(L"\u00E4", true, L"\u00E4\u00C3\u00A4"), "%C3%A4") << "only ASCII can be left";
}

}  // namespace
