#include "vexil/net/HeaderValues.h"

#include "tests/support/PrintText.h"
#include "tests/support/WhatOf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

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
}

TEST(ContentDispositionTest, AValueWithoutQuotesEndsTheReading) {
    EXPECT_THAT(CDisposition("attachment; filename=a.txt").params, IsEmpty());
    EXPECT_THAT(CDisposition(R"(a; x="1"; y=2; z="3")").params, ElementsAre(Pair("x", "1")));
    EXPECT_THAT(CDisposition(R"(a; x='1'; z="3")").params, IsEmpty());
    EXPECT_THAT(CDisposition(R"(a; x="1)").params, IsEmpty());
    EXPECT_THAT(CDisposition(R"(a; x=")").params, IsEmpty());
    EXPECT_THAT(CDisposition("a; x=").params, IsEmpty());
}

TEST(ContentDispositionTest, AnythingButASemicolonBehindAValueEndsTheReading) {
    EXPECT_THAT(CDisposition(R"(a; x="1" y="2")").params, ElementsAre(Pair("x", "1")));
    EXPECT_THAT(CDisposition(R"(a; x="1", y="2")").params, ElementsAre(Pair("x", "1")));
}

TEST(ContentDispositionTest, WhiteSpaceAroundNamesAndValuesDoesNotCount) {
    EXPECT_THAT(CDisposition("a;\t X = \"1 \" ;y=\"\"").params, ElementsAre(Pair("x", "1 "), Pair("y", "")));
}

TEST(ContentDispositionTest, ValuesAreTakenAsTheyStand) {
    EXPECT_THAT(CDisposition(R"(a; x="b\\c;=d"; y="\"")").params,
                ElementsAre(Pair("x", R"(b\\c;=d)"), Pair("y", "\\")))
        << "a backslash escapes nothing";
    EXPECT_THAT(CDisposition(R"(a; x="1"; x="2")").params, ElementsAre(Pair("x", "2")));
    EXPECT_THAT(CDisposition(R"(a; ="1")").params, ElementsAre(Pair("", "1")));
}

TEST(ContentDispositionTest, ParametersAreAddedToTheMap) {
    TMap<String, String> params{{"old", "1"}};
    parseContentDispositionHeader(R"(a; x="1")", params);
    EXPECT_THAT(params, ElementsAre(Pair("old", "1"), Pair("x", "1")));
}

TEST(ContentDispositionTest, EveryCutIsReadAsFarAsItGoes) {
    const std::string whole = R"(attachment; a="1"; b="2")";
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        const CDisposition disposition(whole.substr(0, length).c_str());
        EXPECT_EQ(disposition.params.count("a"), length >= 17 ? 1u : 0u) << length;
        EXPECT_EQ(disposition.params.count("b"), length == whole.size() ? 1u : 0u) << length;
    }
}

TEST(TimestampTest, ReadsTheDatesOfHTTPAndMail) {
    const auto expected = zet::CTime::fromCTime(1583219109);
    for (const char* text : {"Tue, 03 Mar 2020 07:05:09 GMT", "Tue, 3 Mar 2020 08:05:09 +0100",
                             "Tuesday, 03-Mar-20 07:05:09 GMT", "Tue Mar  3 07:05:09 2020"}) {
        EXPECT_EQ(parseTimestamp(text), expected) << text;
    }
    EXPECT_EQ(parseTimestamp("Thu, 01 Jan 1970 00:00:00 GMT"), zet::CTime::fromCTime(0));
}

TEST(TimestampTest, RefusesWhatIsNone) {
    for (const char* text : {"", "yesterday", "Tue, 99 Mar 2020 07:05:09 GMT", "ä"}) {
        EXPECT_EQ(whatOf([&] { parseTimestamp(text); }),
                  std::string("Error parsing timestamp '") + text + "'.");
    }
    try {
        parseTimestamp("x");
        FAIL();
    } catch (const CError& error) {
        EXPECT_EQ(error.getDomain(), "");
        EXPECT_EQ(error.getCode(), -1);
        EXPECT_TRUE(error.getProps().isEmpty());
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

}  // namespace
