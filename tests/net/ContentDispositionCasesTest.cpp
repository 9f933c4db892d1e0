// Headers that RFC 6266 shows or allows: their meaning there, and what is read here. If the two differ, a
// comment gives the reason.
#include "tests/support/PrintText.h"
#include "vexil/net/HeaderValues.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>

namespace {

using namespace vexil;
using Params = TMap<String, String>;

constexpr const char* sameAsRFC = nullptr;
constexpr const char* quotedOnly = "only quoted values are read, and another one ends the reading";
constexpr const char* backslashStays = "a backslash is a character like others";
constexpr const char* lastCounts =
    "of parameters that repeat, and are an error to the RFC, the last one counts";
constexpr const char* neverFails = "what the RFC calls an error is read as far as it goes";

struct Reading {
    const char* type;
    Params params;

    bool operator==(const Reading&) const = default;
};

/// An error by the RFC.
const Reading invalid{"(invalid)", {}};

void PrintTo(const Reading& reading, std::ostream* out) {
    *out << reading.type << testing::PrintToString(reading.params);
}

struct Case {
    const char* where;
    const char* header;
    Reading rfc;
    const char* difference = sameAsRFC;
    Reading here = {};
};

// The RFC reads an extended value ("name*") as its text, percent-decoded from its charset.
const Case cases[] = {
    {"4.2: the type alone", "attachment", {"attachment", {}}},
    {"4.2: the other type", "inline", {"inline", {}}},
    {"4.2: types without case", "INLINE", {"inline", {}}},
    {"4.2: a type of one's own", "form-data", {"form-data", {}}},
    {"5: a token as the name of a file",
     "Attachment; filename=example.html",
     {"attachment", {{"filename", "example.html"}}},
     quotedOnly,
     {"attachment", {}}},
    {"5: a quoted name and a space after the equals sign",
     R"(INLINE; FILENAME= "an example.html")",
     {"inline", {{"filename", "an example.html"}}}},
    {"5: an extended value",
     "attachment;\r\n filename*= UTF-8''%e2%82%ac%20rates",
     {"attachment", {{"filename*", "\xE2\x82\xAC rates"}}},
     quotedOnly,
     {"attachment", {}}},
    {"5: an extended value with one for older readers",
     "attachment;\r\n filename=\"EURO rates\";\r\n filename*=utf-8''%e2%82%ac%20rates",
     {"attachment", {{"filename", "EURO rates"}, {"filename*", "\xE2\x82\xAC rates"}}},
     quotedOnly,
     {"attachment", {{"filename", "EURO rates"}}}},
    {"4.3: the same the other way round",
     "attachment; filename*=utf-8''%e2%82%ac%20rates; filename=\"EURO rates\"",
     {"attachment", {{"filename", "EURO rates"}, {"filename*", "\xE2\x82\xAC rates"}}},
     quotedOnly,
     {"attachment", {}}},
    {"RFC 5987, 3.2.2: an extended value in ISO-8859-1, with its language",
     "attachment; filename*=iso-8859-1'en'%A3%20rates",
     {"attachment", {{"filename*", "\xC2\xA3 rates"}}},
     quotedOnly,
     {"attachment", {}}},
    {"4.1: a quoted pair",
     R"(attachment; filename="a \"quoted\" name.txt")",
     {"attachment", {{"filename", R"(a "quoted" name.txt)"}}},
     backslashStays,
     {"attachment", {{"filename", R"(a \)"}}}},
    {"4.1: a quoted pair where none is needed",
     R"(attachment; filename="f\oo.html")",
     {"attachment", {{"filename", "foo.html"}}},
     backslashStays,
     {"attachment", {{"filename", R"(f\oo.html)"}}}},
    {"4.1: a quoted backslash",
     R"(attachment; filename="a\\b")",
     {"attachment", {{"filename", R"(a\b)"}}},
     backslashStays,
     {"attachment", {{"filename", R"(a\\b)"}}}},
    {"4.1: an empty quoted value", R"(attachment; filename="")", {"attachment", {{"filename", ""}}}},
    {"4.1: semicolons and equals signs between quotes",
     R"(attachment; filename="a;b=c;.txt")",
     {"attachment", {{"filename", "a;b=c;.txt"}}}},
    {"4.1: single quotes are no quotes",
     "attachment; filename='foo.bar'",
     {"attachment", {{"filename", "'foo.bar'"}}},
     quotedOnly,
     {"attachment", {}}},
    {"4.1: blanks around", "attachment ;\tfilename = \"a\" ", {"attachment", {{"filename", "a"}}}},
    {"4.1: no blanks at all", R"(attachment;filename="a")", {"attachment", {{"filename", "a"}}}},
    {"4.4: a parameter of one's own",
     R"(attachment; foo="bar"; filename="a")",
     {"attachment", {{"filename", "a"}, {"foo", "bar"}}}},
    {"4.4: one of one's own as a token, in front",
     R"(attachment; foo=bar; filename="a")",
     {"attachment", {{"filename", "a"}, {"foo", "bar"}}},
     quotedOnly,
     {"attachment", {}}},
    {"4.4: an own one as a token, at the end",
     R"(attachment; filename="a"; foo=bar)",
     {"attachment", {{"filename", "a"}, {"foo", "bar"}}},
     quotedOnly,
     {"attachment", {{"filename", "a"}}}},
    {"RFC 2183: the dates and the size of a file",
     R"(attachment; filename="a.txt"; modification-date="Wed, 12 Feb 1997 16:29:51 -0500"; size="10")",
     {"attachment",
      {{"filename", "a.txt"}, {"modification-date", "Wed, 12 Feb 1997 16:29:51 -0500"}, {"size", "10"}}}},
    {"appendix C.1: an encoded word is nothing special",
     R"(attachment; filename="=?ISO-8859-1?Q?foo-=E4.html?=")",
     {"attachment", {{"filename", "=?ISO-8859-1?Q?foo-=E4.html?="}}}},
    {"appendix C.2: nor is percent-encoding",
     R"(attachment; filename="foo-%41.html")",
     {"attachment", {{"filename", "foo-%41.html"}}}},
    {"appendix C.3: UTF-8 between quotes, once decoded",
     "attachment; filename=\"foo-\xC3\xA4.html\"",
     {"attachment", {{"filename", "foo-\xC3\xA4.html"}}}},
    {"4.3: a path, which the caller has to strip",
     R"(attachment; filename="../../etc/passwd")",
     {"attachment", {{"filename", "../../etc/passwd"}}}},
    {"4.1: a parameter twice",
     R"(attachment; filename="a"; filename="b")",
     invalid,
     lastCounts,
     {"attachment", {{"filename", "b"}}}},
    {"4.1: no type", R"(filename="a")", invalid, neverFails, {R"(filename="a")", {}}},
    {"4.1: no type but its semicolon", R"(; filename="a")", invalid, neverFails, {"", {{"filename", "a"}}}},
    {"4.1: nothing at all", "", invalid, neverFails, {"", {}}},
    {"4.1: a semicolon at the end", "attachment;", invalid, neverFails, {"attachment", {}}},
    {"4.1: a parameter without a value", "attachment; filename", invalid, neverFails, {"attachment", {}}},
    {"4.1: an empty value", "attachment; filename=", invalid, neverFails, {"attachment", {}}},
    {"4.1: no closing quote", R"(attachment; filename="a)", invalid, neverFails, {"attachment", {}}},
    {"4.1: text after a quoted value",
     R"(attachment; filename="a"b; c="d")",
     invalid,
     neverFails,
     {"attachment", {{"filename", "a"}}}},
    {"4.1: a comma for a semicolon",
     R"(attachment; filename="a", foo="b")",
     invalid,
     neverFails,
     {"attachment", {{"filename", "a"}}}},
    {"4.1: two semicolons",
     R"(attachment; filename="a";; foo="b")",
     invalid,
     neverFails,
     {"attachment", {{"; foo", "b"}, {"filename", "a"}}}},
};

TEST(ContentDispositionCasesTest, AreReadAsTheRFCSaysButForWhatIsListed) {
    for (const Case& one : cases) {
        Params params;
        const String type = parseContentDispositionHeader(one.header, params);
        const Reading& expected = one.difference ? one.here : one.rfc;
        EXPECT_EQ(type, expected.type) << one.where;
        EXPECT_EQ(params, expected.params) << one.where;
        if (one.difference) {
            EXPECT_NE(one.here, one.rfc) << one.where << " does not differ";
        }
    }
}

}  // namespace
