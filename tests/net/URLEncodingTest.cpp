#include "vexil/net/URLEncoding.h"

#include "tests/support/PrintText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

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

TEST(URLUnescapeTest, DecodesWhatIsEncoded) {
    EXPECT_EQ(unescaped("%41%4a+%zz%4", true), "AJ %zz%4");
    EXPECT_EQ(unescaped("%4A%4a+", false), "JJ+");
    EXPECT_EQ(unescaped("%c3%a9%E2%82%AC", false), "é€");
    EXPECT_EQ(unescaped("é", false), "é");
    EXPECT_EQ(unescaped("", true), "");
}

TEST(URLUnescapeTest, LeavesAPercentSignWithoutTwoDigits) {
    for (const char* text : {"%", "%%", "%4", "%g0", "%0g", "100%", "%-1", "% 1", "%\xC3\xA9"}) {
        EXPECT_EQ(unescaped(text, false), text);
    }
    EXPECT_EQ(unescaped("%%41", false), "%A");
    EXPECT_EQ(unescaped("%4%41", false), "%4A");
}

TEST(URLUnescapeTest, BytesThatAreNotUTF8BecomeReplacementCharacters) {
    EXPECT_EQ(unescaped("a%ffb", false), "a\xEF\xBF\xBD"
                                         "b");
    EXPECT_EQ(unescaped("%c3", false), "\xEF\xBF\xBD");
}

TEST(URLUnescapeTest, MayGiveANUL) {
    EXPECT_EQ(urlUnescape("a%00b", false), String(std::wstring(L"a\0b", 3)));
}

TEST(FormURLEncodeTest, EncodesATextWithDigitsOfEitherCase) {
    EXPECT_EQ(formURLEncode("a b/é+", true), "a+b%2F%C3%A9%2B");
    EXPECT_EQ(formURLEncode("a b/é+", false), "a+b%2f%c3%a9%2b");
    EXPECT_EQ(formURLEncode("%20", true), "%2520");
    EXPECT_EQ(formURLEncode("-._~", true), "-._~");
}

TEST(FormURLEncodeTest, JoinsFieldsInTheOrderOfTheirNames) {
    EXPECT_EQ(formURLEncode(std::map<String, String>{{"b", "2 3"}, {"a", "1"}, {"ä", "="}}, true),
              "a=1&b=2+3&%C3%A4=%3D");
    EXPECT_EQ(formURLEncode(std::map<String, String>{}, true), "");
    EXPECT_EQ(formURLEncode(std::map<String, String>{{"", ""}, {"a", ""}}, true), "=&a=");
}

TEST(FormURLEncodeTest, TakesPropertiesByName) {
    CProps props;
    props.add("z", "1");
    props.add("a", "2 ");
    EXPECT_EQ(formURLEncode(props, false), "a=2+&z=1");
}

TEST(URLParamsTest, AreEncodedInTheOrderOfTheirNames) {
    EXPECT_EQ(encodeURLParams({{"b", "2 3"}, {"a", "1"}}), "a=1&b=2+3");
    EXPECT_EQ(encodeURLParams({{"é", "&="}}), "%c3%a9=%26%3d");
    EXPECT_EQ(encodeURLParams({{"", ""}, {"a", ""}}), "=&a=");
    EXPECT_EQ(encodeURLParams({}), "");
}

TEST(URLParamsTest, AreDecoded) {
    EXPECT_THAT(decoded("x=1&y&x=2"), ElementsAre(Pair("x", "2"), Pair("y", "")));
    EXPECT_THAT(decoded("a=b=c"), ElementsAre(Pair("a", "b=c")));
    EXPECT_THAT(decoded("a+b=%26+c&%3d=x"), ElementsAre(Pair("=", "x"), Pair("a b", "& c")));
    EXPECT_THAT(decoded("=v"), ElementsAre(Pair("", "v")));
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
}

TEST(URLParamsTest, ComeBackAsTheyWere) {
    const TMap<String, String> params{{"a b", "c&d=e"}, {"%41", "+"}, {"ü", "日本\n"}, {"", "x"}};
    TMap<String, String> again;
    decodeURLParams(encodeURLParams(params), again);
    EXPECT_EQ(again, params);
    TMap<String, String> form;
    decodeURLParams(formURLEncode(params, true), form);
    EXPECT_EQ(form, params);
}

}  // namespace
