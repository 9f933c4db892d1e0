#include "vexil/net/URLEncoding.h"

#include "tests/support/PrintText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {

using namespace std::string_view_literals;
using namespace vexil;
using testing::ElementsAre;
using testing::Pair;

std::string escaped(const char* text, bool spaceAsPlus) {
    return urlEscape(text, spaceAsPlus).toUTF8();
}

std::string unescaped(const char* text, bool plusAsSpace) {
    return urlUnescape(text, plusAsSpace).toUTF8();
}

TMap<String, String> decoded(const char* query) {
    TMap<String, String> params;
    decodeURLParams(query, params);
    return params;
}

TEST(URLEscapeTest, WritesLowerCaseDigits) {
    EXPECT_EQ(escaped("a b/é", true), "a+b%2f%c3%a9");
    EXPECT_EQ(escaped("a b/é", false), "a%20b%2f%c3%a9");
    EXPECT_EQ(escaped("", true), "");
}

TEST(URLEscapeTest, LeavesUnreservedCharactersOnly) {
    for (int c = 0; c < 256; ++c) {
        const String text(std::wstring{static_cast<wchar_t>(c)});
        const std::string result = urlEscape(text, false).toUTF8();
        const bool isUnreserved =
            c < 128 &&
            (std::isalnum(c) || std::string("-._~").find(static_cast<char>(c)) != std::string::npos);
        EXPECT_EQ(result.size(), isUnreserved ? 1u : c < 128 ? 3u : 6u) << c;
        EXPECT_EQ(urlUnescape(result.c_str(), true), text) << c;
    }
    EXPECT_EQ(escaped("%20+", true), "%2520%2b");
}

TEST(URLEscapeTest, EscapesTheBytesOfUTF8) {
    EXPECT_EQ(escaped("\xF0\x9F\x98\x80", false), "%f0%9f%98%80");
    EXPECT_EQ(escaped("\xF4\x8F\xBF\xBF\xEF\xBF\xBF", false), "%f4%8f%bf%bf%ef%bf%bf");
    EXPECT_EQ(urlEscape(String(L"a\0b"sv), false), "a%00b");
}

TEST(URLEscapeTest, HalfASurrogatePairIsAReplacementCharacter) {
    const String lone(std::wstring{L'a', static_cast<wchar_t>(0xD800), L'b', static_cast<wchar_t>(0xDFFF)});
    EXPECT_EQ(urlEscape(lone, true), "a%ef%bf%bdb%ef%bf%bd");
    EXPECT_EQ(formURLEncode(lone, true), "a%EF%BF%BDb%EF%BF%BD");
    EXPECT_EQ(urlUnescape(lone, true), String("a\xEF\xBF\xBD"
                                              "b\xEF\xBF\xBD"));
}

TEST(URLEscapeTest, ABlankOnlyBecomesAPlus) {
    EXPECT_EQ(escaped(" \t\n\xC2\xA0 ", true), "+%09%0a%c2%a0+");
    EXPECT_EQ(escaped(" \t\n\xC2\xA0 ", false), "%20%09%0a%c2%a0%20");
    EXPECT_EQ(escaped("+", true), "%2b");
    EXPECT_EQ(escaped("+", false), "%2b");
}

TEST(URLUnescapeTest, DecodesWhatIsEncoded) {
    EXPECT_EQ(unescaped("%41%4a+%zz%4", true), "AJ %zz%4");
    EXPECT_EQ(unescaped("%4A%4a+", false), "JJ+");
    EXPECT_EQ(unescaped("%c3%a9%E2%82%AC", false), "é€");
    EXPECT_EQ(unescaped("%f0%9F%98%80", false), "\xF0\x9F\x98\x80");
    EXPECT_EQ(unescaped("é", false), "é");
    EXPECT_EQ(unescaped("\xF0\x9F\x98\x80", false), "\xF0\x9F\x98\x80");
    EXPECT_EQ(unescaped("", true), "");
}

TEST(URLUnescapeTest, ReadsTheDigitsOfEveryByteInEitherCase) {
    for (int byte = 0; byte < 256; ++byte) {
        for (const char* format : {"%%%02x", "%%%02X"}) {
            char text[4];
            std::snprintf(text, sizeof text, format, byte);
            const wchar_t character = byte < 128 ? static_cast<wchar_t>(byte) : L'\uFFFD';
            EXPECT_EQ(urlUnescape(text, true), String(std::wstring{character})) << text;
        }
    }
}

TEST(URLUnescapeTest, DecodesOnce) {
    EXPECT_EQ(unescaped("%2541", true), "%41");
    EXPECT_EQ(unescaped("%2b+", true), "+ ") << "a plus that was encoded is one";
    EXPECT_EQ(unescaped("%2B+", false), "++");
    EXPECT_EQ(unescaped("%25%34%31", true), "%41");
    EXPECT_EQ(unescaped("%%34%31", true), "%41");
}

TEST(URLUnescapeTest, LeavesAPercentSignWithoutTwoDigits) {
    for (const char* text : {"%", "%%", "%4", "%g0", "%0g", "100%", "%-1", "% 1", "%\xC3\xA9"}) {
        EXPECT_EQ(unescaped(text, false), text);
    }
    for (const char* text :
         {"%/0", "%:0", "%@0", "%G0", "%`0", "%g0", "%0/", "%0:", "%0@", "%0G", "%0`", "%0g"}) {
        EXPECT_EQ(unescaped(text, false), text) << "the neighbours of the digits";
    }
    EXPECT_EQ(unescaped("%%41", false), "%A");
    EXPECT_EQ(unescaped("%4%41", false), "%4A");
    EXPECT_EQ(unescaped("%+4%4+", true), "% 4%4 ");
    EXPECT_EQ(unescaped("%\xEF\xBC\x94\xEF\xBC\x91", true), "%\xEF\xBC\x94\xEF\xBC\x91")
        << "digits are those of ASCII";
}

TEST(URLUnescapeTest, BytesThatAreNotUTF8BecomeReplacementCharacters) {
    EXPECT_EQ(unescaped("a%ffb", false), "a\xEF\xBF\xBD"
                                         "b");
    EXPECT_EQ(unescaped("%c3", false), "\xEF\xBF\xBD");
}

TEST(URLUnescapeTest, EachByteThatIsNotUTF8HasAReplacementCharacter) {
    const std::string replacement = "\xEF\xBF\xBD";
    const auto replacements = [&](int count) {
        std::string text;
        for (; count > 0; --count) {
            text += replacement;
        }
        return text;
    };
    EXPECT_EQ(unescaped("%c0%80", false), replacements(2)) << "too long for its character";
    EXPECT_EQ(unescaped("%ed%a0%80", false), replacements(3)) << "half a surrogate pair";
    EXPECT_EQ(unescaped("%f4%90%80%80", false), replacements(4)) << "beyond the last character";
    EXPECT_EQ(unescaped("%f0%9f%98", false), replacements(3)) << "cut";
    EXPECT_EQ(unescaped("%e2%82%41", false), replacements(2) + "A");
    EXPECT_EQ(unescaped("%e2\xC3\xA9%82", false), replacement + "\xC3\xA9" + replacement)
        << "a character between the bytes of another";
}

TEST(URLUnescapeTest, EveryCutIsDecodedAsFarAsItGoes) {
    const std::string whole = "a%41+%c3%a9%zz%";
    const std::string bytes[] = {"",
                                 "a",
                                 "a%",
                                 "a%4",
                                 "aA",
                                 "aA ",
                                 "aA %",
                                 "aA %c",
                                 "aA \xEF\xBF\xBD",
                                 "aA \xEF\xBF\xBD%",
                                 "aA \xEF\xBF\xBD%a",
                                 "aA é",
                                 "aA é%",
                                 "aA é%z",
                                 "aA é%zz",
                                 "aA é%zz%"};
    ASSERT_EQ(std::size(bytes), whole.size() + 1);
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        EXPECT_EQ(unescaped(whole.substr(0, length).c_str(), true), bytes[length]) << length;
    }
}

TEST(URLUnescapeTest, MayGiveANUL) {
    EXPECT_EQ(urlUnescape("a%00b", false), String(std::wstring(L"a\0b", 3)));
}

TEST(FormURLEncodeTest, EncodesATextWithDigitsOfEitherCase) {
    EXPECT_EQ(formURLEncode("a b/é+", true), "a+b%2F%C3%A9%2B");
    EXPECT_EQ(formURLEncode("a b/é+", false), "a+b%2f%c3%a9%2b");
    EXPECT_EQ(formURLEncode("%20", true), "%2520");
    EXPECT_EQ(formURLEncode("-._~", true), "-._~");
    EXPECT_EQ(formURLEncode("", true), "");
    EXPECT_EQ(formURLEncode("\xF0\x9F\x98\x80/", true), "%F0%9F%98%80%2F");
    EXPECT_EQ(formURLEncode("\xF0\x9F\x98\x80/", false), "%f0%9f%98%80%2f");
    EXPECT_EQ(formURLEncode(String(L"a\0b"sv), false), "a%00b");
}

TEST(FormURLEncodeTest, KeepsNothingButTheUnreservedCharacters) {
    for (wchar_t c = 0; c < 128; ++c) {
        const String text(std::wstring{c});
        const String expected = c == L' ' ? String("+") : urlEscape(text, false);
        EXPECT_EQ(formURLEncode(text, false), expected) << static_cast<int>(c);
    }
}

TEST(FormURLEncodeTest, JoinsFieldsInTheOrderOfTheirNames) {
    EXPECT_EQ(formURLEncode(std::map<String, String>{{"b", "2 3"}, {"a", "1"}, {"ä", "="}}, true),
              "a=1&b=2+3&%C3%A4=%3D");
    EXPECT_EQ(formURLEncode(std::map<String, String>{{"k/", "v?"}, {"a b", "c+"}}, false),
              "a+b=c%2b&k%2f=v%3f");
    EXPECT_EQ(formURLEncode(std::map<String, String>{}, true), "");
    EXPECT_EQ(formURLEncode(std::map<String, String>{}, false), "");
    EXPECT_EQ(formURLEncode(std::map<String, String>{{"", ""}, {"a", ""}}, true), "=&a=");
}

TEST(FormURLEncodeTest, TakesPropertiesByName) {
    CProps props;
    props.add("z", "1");
    props.add("a", "2 ");
    EXPECT_EQ(formURLEncode(props, false), "a=2+&z=1");
    props.add("m/", "\xC3\xA9");
    EXPECT_EQ(formURLEncode(props, true), "a=2+&m%2F=%C3%A9&z=1");
    EXPECT_EQ(formURLEncode(props, false), "a=2+&m%2f=%c3%a9&z=1");
    EXPECT_EQ(formURLEncode(CProps(), true), "");
}

TEST(URLParamsTest, AreEncodedInTheOrderOfTheirNames) {
    EXPECT_EQ(encodeURLParams({{"b", "2 3"}, {"a", "1"}}), "a=1&b=2+3");
    EXPECT_EQ(encodeURLParams({{"é", "&="}}), "%c3%a9=%26%3d");
    EXPECT_EQ(encodeURLParams({{"é", "1"}, {"z", "2"}, {"a", "3"}, {"Z", "4"}, {"a b", "5"}, {"", "6"}}),
              "=6&Z=4&a=3&a+b=5&z=2&%c3%a9=1")
        << "in the order of the characters, not of what they are encoded as";
    EXPECT_EQ(encodeURLParams({{String(L"\0"sv), String(L"\0"sv)}}), "%00=%00");
    EXPECT_EQ(encodeURLParams({{"", ""}, {"a", ""}}), "=&a=");
    EXPECT_EQ(encodeURLParams({}), "");
}

TEST(URLParamsTest, AreDecoded) {
    EXPECT_THAT(decoded("x=1&y&x=2"), ElementsAre(Pair("x", "2"), Pair("y", "")));
    EXPECT_THAT(decoded("a=b=c"), ElementsAre(Pair("a", "b=c")));
    EXPECT_THAT(decoded("a+b=%26+c&%3d=x"), ElementsAre(Pair("=", "x"), Pair("a b", "& c")));
    EXPECT_THAT(decoded("=v"), ElementsAre(Pair("", "v")));
    EXPECT_THAT(decoded("="), ElementsAre(Pair("", "")));
    EXPECT_THAT(decoded("a="), ElementsAre(Pair("a", "")));
    EXPECT_THAT(decoded("a=="), ElementsAre(Pair("a", "=")));
    EXPECT_THAT(decoded("+=+"), ElementsAre(Pair(" ", " ")));
}

TEST(URLParamsTest, AreCutBeforeTheyAreDecoded) {
    EXPECT_THAT(decoded("a%26b=c%3Dd%26e"), ElementsAre(Pair("a&b", "c=d&e")));
    EXPECT_THAT(decoded("a%3Db"), ElementsAre(Pair("a=b", "")));
    EXPECT_THAT(decoded("a%=%4&1=2"), ElementsAre(Pair("1", "2"), Pair("a%", "%4")))
        << "no escape goes beyond its piece";
}

TEST(URLParamsTest, NothingButAnAmpersandParts) {
    EXPECT_THAT(decoded("?a=1;b=2#c=3"), ElementsAre(Pair("?a", "1;b=2#c=3")));
    EXPECT_THAT(decoded("a=1&amp;b=2"), ElementsAre(Pair("a", "1"), Pair("amp;b", "2")));
    EXPECT_THAT(decoded(" a = 1 \r\n"), ElementsAre(Pair(" a ", " 1 \r\n")));
}

TEST(URLParamsTest, OfNamesThatDecodeAlikeTheLastOneCounts) {
    EXPECT_THAT(decoded("a=1&%61=2"), ElementsAre(Pair("a", "2")));
    EXPECT_THAT(decoded("a=1&a"), ElementsAre(Pair("a", "")));
    EXPECT_THAT(decoded("=1&&"), ElementsAre(Pair("", "")));
    EXPECT_THAT(decoded("%ff=1&%fe=2"), ElementsAre(Pair(String("\xEF\xBF\xBD"), "2")));
    EXPECT_THAT(decoded("A=1&a=2"), ElementsAre(Pair("A", "1"), Pair("a", "2")));
}

TEST(URLParamsTest, MayHoldANUL) {
    EXPECT_THAT(decoded("a%00=%00"), ElementsAre(Pair(String(L"a\0"sv), String(L"\0"sv))));
    TMap<String, String> params;
    decodeURLParams(String(L"a\0=\0&b"sv), params);
    EXPECT_THAT(params, ElementsAre(Pair(String(L"a\0"sv), String(L"\0"sv)), Pair("b", "")));
}

TEST(URLParamsTest, EveryCutIsDecodedAsFarAsItGoes) {
    const std::string whole = "x=%41&y+z=2";
    const char* const encodedAgain[] = {"",      "x=",     "x=",      "x=%25",    "x=%254",   "x=A",
                                        "=&x=A", "x=A&y=", "x=A&y+=", "x=A&y+z=", "x=A&y+z=", "x=A&y+z=2"};
    ASSERT_EQ(std::size(encodedAgain), whole.size() + 1);
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        EXPECT_EQ(encodeURLParams(decoded(whole.substr(0, length).c_str())), encodedAgain[length]) << length;
    }
}

TEST(URLParamsTest, AnEmptyPieceIsTheEmptyName) {
    EXPECT_THAT(decoded("a=1&&b=2"), ElementsAre(Pair("", ""), Pair("a", "1"), Pair("b", "2")));
    EXPECT_THAT(decoded("a=1&"), ElementsAre(Pair("", ""), Pair("a", "1")));
    EXPECT_THAT(decoded("&"), ElementsAre(Pair("", "")));
    EXPECT_THAT(decoded(""), ElementsAre());
}

TEST(URLParamsTest, AreAddedToTheMap) {
    TMap<String, String> params{{"old", "1"}, {"x", "1"}};
    decodeURLParams("", params);
    decodeURLParams("x=2", params);
    EXPECT_THAT(params, ElementsAre(Pair("old", "1"), Pair("x", "2")));
    decodeURLParams("&old", params);
    EXPECT_THAT(params, ElementsAre(Pair("", ""), Pair("old", ""), Pair("x", "2")));
}

TEST(URLParamsTest, ComeBackAsTheyWere) {
    const TMap<String, String> params{{"a b", "c&d=e"}, {"%41", "+"}, {"ü", "日本\n"}, {"", "x"}};
    TMap<String, String> again;
    decodeURLParams(encodeURLParams(params), again);
    EXPECT_EQ(again, params);
    for (const bool useUpperCase : {true, false}) {
        TMap<String, String> form;
        decodeURLParams(formURLEncode(params, useUpperCase), form);
        EXPECT_EQ(form, params);
    }
}

}  // namespace
