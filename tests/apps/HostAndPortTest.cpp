#include "apps/vexil/base/HostAndPort.h"

#include "tests/support/PrintText.h"

#include <gtest/gtest.h>

namespace vexil::app {

namespace {

void expectParts(const char* text, const char* host, int port) {
    const CHostAndPort result = CHostAndPort::parse(text);
    EXPECT_EQ(result.host, String(host)) << text;
    EXPECT_EQ(result.port, port) << text;
}

}  // namespace

TEST(HostAndPortTest, TakesNamesAndAddressesWithAndWithoutAPort) {
    expectParts("mail.example.com", "mail.example.com", 0);
    expectParts("mail.example.com:587", "mail.example.com", 587);
    expectParts("my_mail-1:1", "my_mail-1", 1);
    expectParts("127.0.0.1:65535", "127.0.0.1", 65535);
    expectParts("[::1]", "[::1]", 0);
    expectParts("[2001:db8::A]:0025", "[2001:db8::A]", 25);
    expectParts("bücher.example:25", "bücher.example", 25);
}

TEST(HostAndPortTest, RefusesWhatWouldBeSomethingElseWithinAURL) {
    for (const char* text : {"",
                             ":25",
                             "a:",
                             "a:0",
                             "a:65536",
                             "a:18446744073709551617",
                             "a:-1",
                             "a:+1",
                             "a: 1",
                             "a:1x",
                             "a:b:1",
                             "::1",
                             "[::1",
                             "::1]",
                             "[]",
                             "[]:25",
                             "[::1]x",
                             "[::1]25",
                             "[a.b]:x",
                             "[g::]",
                             "a b",
                             "a\tb",
                             "a\nb",
                             "smtp://a",
                             "a/b",
                             "a/b:25",
                             "user@a",
                             "a?b",
                             "a#b",
                             "a%41",
                             "a\\b",
                             "a\xC2\x85"
                             "b"}) {
        EXPECT_THROW(CHostAndPort::parse(text), CInvalidArgError) << text;
    }
}

TEST(HostAndPortTest, ShowsWhatItRefuses) {
    try {
        CHostAndPort::parse("a\x1B:25");
        FAIL();
    } catch (const CInvalidArgError& error) {
        EXPECT_NE(error.getMessage().find("'a\\x1B:25' is not a server"), String::npos) << error.what();
    }
}

}  // namespace vexil::app
