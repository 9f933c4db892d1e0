#include "vexil/net/HeaderValues.h"

#include "tests/support/PrintText.h"
#include "tests/support/WhatOf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <string>

namespace {

using namespace std::string_view_literals;
using namespace vexil;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using vexil_test::whatOf;

struct CDisposition {
    explicit CDisposition(const char* value) : type(parseContentDispositionHeader(value, params)) {}
    TMap<String, String> params;
    String type;
};

TEST(ContentDispositionTest, HasATypeAndQuotedParameters) {
    const CDisposition disposition(R"(Attachment; FileName="r.txt"; size="10")");
    EXPECT_EQ(disposition.type, "attachment");
    EXPECT_THAT(disposition.params, ElementsAre(Pair("filename", "r.txt"), Pair("size", "10")));
}

TEST(ContentDispositionTest, TheTypeMayStandAlone) {
    for (const char* value : {"inline", " INLINE ", "inline;", "inline ; ", "inline;x"}) {
        EXPECT_EQ(CDisposition(value).type, "inline") << value;
        EXPECT_THAT(CDisposition(value).params, IsEmpty()) << value;
    }
    EXPECT_EQ(CDisposition("").type, "");
    EXPECT_EQ(CDisposition(R"(; a="b")").type, "");
    EXPECT_THAT(CDisposition(R"(; a="b")").params, ElementsAre(Pair("a", "b")));
    EXPECT_EQ(CDisposition("\t\r\n X-Own Type \v\f ; a=b").type, "x-own type");
    EXPECT_EQ(CDisposition("\xC3\x84").type, String("\xC3\x84")) << "lower case is that of ASCII";
}

TEST(ContentDispositionTest, WithoutASemicolonAllOfItIsTheType) {
    const CDisposition disposition(R"( Attachment FileName="A" )");
    EXPECT_EQ(disposition.type, R"(attachment filename="a")");
    EXPECT_THAT(disposition.params, IsEmpty());
}

TEST(ContentDispositionTest, AValueWithoutQuotesEndsTheReading) {
    EXPECT_THAT(CDisposition("attachment; filename=a.txt").params, IsEmpty());
    EXPECT_THAT(CDisposition(R"(a; x="1"; y=2; z="3")").params, ElementsAre(Pair("x", "1")));
    EXPECT_THAT(CDisposition(R"(a; x='1'; z="3")").params, IsEmpty());
    EXPECT_THAT(CDisposition(R"(a; x="1)").params, IsEmpty());
    EXPECT_THAT(CDisposition(R"(a; x=")").params, IsEmpty());
    EXPECT_THAT(CDisposition("a; x=").params, IsEmpty());
    EXPECT_THAT(CDisposition(R"(a; x=y"1"; z="3")").params, IsEmpty());
    EXPECT_THAT(CDisposition(R"(a; x==" 1"; z="3")").params, IsEmpty());
    EXPECT_EQ(CDisposition("attachment; filename=a.txt").type, "attachment");
}

TEST(ContentDispositionTest, ANameIsAllBeforeItsEqualsSign) {
    EXPECT_THAT(CDisposition(R"(a; junk; X="1")").params, ElementsAre(Pair("junk; x", "1")));
    EXPECT_THAT(CDisposition(R"(a; "q"X="1")").params, ElementsAre(Pair("\"q\"x", "1")));
    EXPECT_THAT(CDisposition(R"(a; x="1";;y="2")").params, ElementsAre(Pair(";y", "2"), Pair("x", "1")));
    EXPECT_THAT(CDisposition("a; \xC3\x84X=\"1\"").params, ElementsAre(Pair(String("\xC3\x84x"), "1")));
}

TEST(ContentDispositionTest, AnythingButASemicolonBehindAValueEndsTheReading) {
    EXPECT_THAT(CDisposition(R"(a; x="1" y="2")").params, ElementsAre(Pair("x", "1")));
    EXPECT_THAT(CDisposition(R"(a; x="1", y="2")").params, ElementsAre(Pair("x", "1")));
    EXPECT_THAT(CDisposition(R"(a; x="1"" ; y="2")").params, ElementsAre(Pair("x", "1")));
    EXPECT_THAT(CDisposition(R"(a; x="1"=; y="2")").params, ElementsAre(Pair("x", "1")));
    EXPECT_THAT(CDisposition(R"(a; x="1"; )").params, ElementsAre(Pair("x", "1")));
}

TEST(ContentDispositionTest, WhiteSpaceAroundNamesAndValuesDoesNotCount) {
    EXPECT_THAT(CDisposition("a;\t X = \"1 \" ;y=\"\"").params, ElementsAre(Pair("x", "1 "), Pair("y", "")));
    EXPECT_THAT(CDisposition(R"(a;x="1";y="2";z="3")").params,
                ElementsAre(Pair("x", "1"), Pair("y", "2"), Pair("z", "3")));
    EXPECT_THAT(CDisposition("a\n;\nx\n=\n\"1\"\n;\ny=\"\n\"\n").params,
                ElementsAre(Pair("x", "1"), Pair("y", "\n")));
}

TEST(ContentDispositionTest, ValuesAreTakenAsTheyStand) {
    EXPECT_THAT(CDisposition(R"(a; x="b\\c;=d"; y="\"")").params,
                ElementsAre(Pair("x", R"(b\\c;=d)"), Pair("y", "\\")))
        << "a backslash escapes nothing";
    EXPECT_THAT(CDisposition(R"(a; x="C:\a.txt"; y="%41+")").params,
                ElementsAre(Pair("x", R"(C:\a.txt)"), Pair("y", "%41+")));
    EXPECT_THAT(CDisposition("a; x=\"\xC3\x84\xF0\x9F\x98\x80\"").params,
                ElementsAre(Pair("x", String("\xC3\x84\xF0\x9F\x98\x80"))));
    EXPECT_THAT(CDisposition(R"(a; x="1"; X="2")").params, ElementsAre(Pair("x", "2")));
    EXPECT_THAT(CDisposition(R"(a; ="1")").params, ElementsAre(Pair("", "1")));
}

TEST(ContentDispositionTest, ParametersAreAddedToTheMap) {
    TMap<String, String> params{{"old", "1"}};
    parseContentDispositionHeader(R"(a; x="1")", params);
    EXPECT_THAT(params, ElementsAre(Pair("old", "1"), Pair("x", "1")));
    parseContentDispositionHeader(R"(a; OLD="2"; x=3)", params);
    EXPECT_THAT(params, ElementsAre(Pair("old", "2"), Pair("x", "1")));
    parseContentDispositionHeader("", params);
    EXPECT_THAT(params, ElementsAre(Pair("old", "2"), Pair("x", "1")));
}

TEST(ContentDispositionTest, ANULIsACharacterLikeOthers) {
    TMap<String, String> params;
    EXPECT_EQ(parseContentDispositionHeader(String(L"A\0; x\0=\"\0\"; y=\"2\""sv), params), String(L"a\0"sv));
    EXPECT_THAT(params, ElementsAre(Pair(String(L"x\0"sv), String(L"\0"sv)), Pair("y", "2")));
}

TEST(ContentDispositionTest, EveryCutIsReadAsFarAsItGoes) {
    const std::string whole = R"(attachment; a="1"; b="2")";
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        const CDisposition disposition(whole.substr(0, length).c_str());
        EXPECT_EQ(disposition.params.count("a"), length >= 17 ? 1u : 0u) << length;
        EXPECT_EQ(disposition.params.count("b"), length == whole.size() ? 1u : 0u) << length;
        EXPECT_EQ(disposition.type, whole.substr(0, std::min<std::size_t>(length, 10)).c_str());
    }
}

TEST(TimestampTest, ReadsTheDatesOfHTTPAndMail) {
    const auto expected = zet::CTime::fromCTime(1583219109);
    for (const char* text : {"Tue, 03 Mar 2020 07:05:09 GMT", "Tue, 3 Mar 2020 08:05:09 +0100",
                             "Tuesday, 03-Mar-20 07:05:09 GMT", "Tue Mar  3 07:05:09 2020"}) {
        EXPECT_EQ(parseTimestamp(text), expected) << text;
    }
    EXPECT_EQ(parseTimestamp("Thu, 01 Jan 1970 00:00:00 GMT"), zet::CTime::fromCTime(0));
    EXPECT_EQ(parseTimestamp("Wed, 31 Dec 1969 23:59:58 GMT"), zet::CTime::fromCTime(-2));
    EXPECT_EQ(parseTimestamp("Fri, 31 Dec 9999 23:59:59 GMT"), zet::CTime::fromCTime(253402300799));
    EXPECT_EQ(parseTimestamp("1 Jan 999999"), zet::CTime::fromMicroseconds(std::numeric_limits<int64>::max()))
        << "beyond what a time can tell";
}

TEST(TimestampTest, EveryCutIsATimeOrACleanError) {
    for (const std::string whole : {"Tue, 03 Mar 2020 07:05:09 GMT", "Tuesday, 03-Mar-20 07:05:09 +0100"}) {
        for (std::size_t length = 0; length < whole.size(); ++length) {
            const std::string cut = whole.substr(0, length);
            const std::string error = whatOf([&] { (void)parseTimestamp(cut.c_str()); });
            if (error != "no error") {
                EXPECT_EQ(error, "Error parsing timestamp '" + cut + "'.");
            } else {
                EXPECT_TRUE(parseTimestamp(cut.c_str()).isSet()) << cut;
            }
        }
    }
}

TEST(TimestampTest, RefusesANULThatWouldHideTheRest) {
    for (const std::wstring_view text :
         {L"Tue, 03 Mar 2020 07:05:09 GMT\0"sv, L"Tue, 03 Mar 2020 07:05:09\0 +0100"sv, L"\0"sv}) {
        EXPECT_THROW((void)parseTimestamp(String(text)), CError);
    }
}

TEST(TimestampTest, RefusesWhatIsNone) {
    for (const char* text : {"", "yesterday", "Tue, 99 Mar 2020 07:05:09 GMT", "ä"}) {
        EXPECT_EQ(whatOf([&] { (void)parseTimestamp(text); }),
                  std::string("Error parsing timestamp '") + text + "'.");
    }
    try {
        (void)parseTimestamp("x");
        FAIL();
    } catch (const CError& error) {
        EXPECT_EQ(error.getDomain(), "");
        EXPECT_EQ(error.getCode(), -1);
        EXPECT_TRUE(error.getProps().isEmpty());
        EXPECT_EQ(error.getInnerError().get(), nullptr);
    }
}

TEST(EmailAddressTest, HasOneAtSignAndAPointBehindIt) {
    for (const char* address : {"jo@example.com", "a.b+c@d.e", "a@.b", "a@b.", "a@.", "jö@exämple.de",
                                "a\x7F@b.c", "a?~@b.c", "!#$%&'()*,;:=/@b.c"}) {
        EXPECT_TRUE(isValidEmailAddress(address)) << address;
    }
    for (const char* address :
         {"", "@", "@b.c", "a@b", "a.b@c", "a@b@c.d", "a@@b.c", "ab.c", "a b@c.d", "a@b .c", "a\t@b.c",
          "a@b.c\n", "\"a\"@b.c", "<a@b.c>", "a@b.c>", "a@b.c\x1F"}) {
        EXPECT_FALSE(isValidEmailAddress(address)) << address;
    }
}

TEST(EmailAddressTest, HoldsAnyCharacterButControlsBlanksQuotesAndAngles) {
    const std::wstring forbidden = L" \"<>";
    for (wchar_t c = 0; c < 0x180; ++c) {
        // At the beginning, between the parts, and at the end.
        for (const std::wstring& text :
             {std::wstring{c} + L"a@b.c", L"a@" + std::wstring{c} + L"b.c", L"a@b.c" + std::wstring{c}}) {
            const bool isAllowed = c >= 32 && c != L'@' && forbidden.find(c) == std::wstring::npos;
            EXPECT_EQ(isValidEmailAddress(String(text)), isAllowed) << static_cast<int>(c);
        }
    }
    EXPECT_TRUE(isValidEmailAddress("\xF0\x9F\x98\x80@\xE6\x97\xA5.\xE6\x9C\xAC"));
    EXPECT_FALSE(isValidEmailAddress("a\xEF\xBC\xA0"
                                     "b.c"))
        << "an at sign is that of ASCII";
    EXPECT_FALSE(isValidEmailAddress("a@b\xE3\x80\x82"
                                     "c"))
        << "and so is a point";
}

TEST(EmailAddressTest, IsValidFromItsFirstPointBehindTheAtSignOn) {
    const std::string whole = "j.o@example.com";
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        EXPECT_EQ(isValidEmailAddress(whole.substr(0, length).c_str()), length >= 12) << length;
    }
}

}  // namespace
