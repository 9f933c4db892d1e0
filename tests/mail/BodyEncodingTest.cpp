// Transfer encodings of bodies, and addresses.
#include "vexil/mail/BodyEncoding.h"

#include "tests/mail/MailTestSupport.h"
#include "tests/support/PrintText.h"
#include "tests/support/WhatOf.h"
#include "vexil/mail/MailAddress.h"
#include "vexil/mail/MimeMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using namespace vexil;
using testing::StartsWith;
using vexil_test::bufferOf;
using vexil_test::textOf;
using vexil_test::whatOf;

std::string quotedPrintable(std::string_view text) {
    return textOf(*encodeQuotedPrintableBody(bufferOf(text)));
}

std::string address(const char* name, const char* mailbox) {
    return makeAddress(name, mailbox).toUTF8();
}

TEST(Base64BodyTest, HasLinesOf76Characters) {
    EXPECT_EQ(textOf(*encodeBase64Body(bufferOf(""))), "");
    EXPECT_EQ(textOf(*encodeBase64Body(bufferOf("hello"))), "aGVsbG8=");
    const std::string line(76, 'A');
    EXPECT_EQ(textOf(*encodeBase64Body(bufferOf(std::string(57, '\0')))), line);
    EXPECT_EQ(textOf(*encodeBase64Body(bufferOf(std::string(58, '\0')))), line + "\r\nAA==");
    EXPECT_EQ(textOf(*encodeBase64Body(bufferOf(std::string(114, '\0')))), line + "\r\n" + line);
}

TEST(QuotedPrintableBodyTest, PrintableASCIIStays) {
    EXPECT_EQ(quotedPrintable(""), "");
    EXPECT_EQ(quotedPrintable("a b\tc~!<>"), "a b\tc~!<>");
    EXPECT_EQ(quotedPrintable("a=b"), "a=3Db");
    EXPECT_EQ(quotedPrintable("\xC3\xA4"), "=C3=A4");
    EXPECT_EQ(quotedPrintable(std::string_view("\0\x7F", 2)), "=00=7F");
}

TEST(QuotedPrintableBodyTest, OnlyCRLFIsALineEnd) {
    EXPECT_EQ(quotedPrintable("a\r\nb"), "a\r\nb");
    EXPECT_EQ(quotedPrintable("a\nb\rc"), "a=0Ab=0Dc");
    EXPECT_EQ(quotedPrintable("a\r\r\n"), "a=0D\r\n");
    EXPECT_EQ(quotedPrintable("\r\n\r\n"), "\r\n\r\n");
}

TEST(QuotedPrintableBodyTest, BlanksAtTheEndOfALineAreQuoted) {
    EXPECT_EQ(quotedPrintable("a \r\nb\t\r\n"), "a=20\r\nb=09\r\n");
    EXPECT_EQ(quotedPrintable("a  \r\n"), "a =20\r\n");
    EXPECT_EQ(quotedPrintable("a "), "a=20");
    EXPECT_EQ(quotedPrintable("\t"), "=09");
}

TEST(QuotedPrintableBodyTest, LongLinesAreJoined) {
    const std::string part(75, 'a');
    EXPECT_EQ(quotedPrintable(part), part);
    EXPECT_EQ(quotedPrintable(part + "b"), part + "=\r\nb");
    EXPECT_EQ(quotedPrintable(std::string(73, 'a') + "\xC3\xA4"), std::string(73, 'a') + "=\r\n=C3=A4")
        << "no byte is split";
    EXPECT_EQ(quotedPrintable(std::string(72, 'a') + "="), std::string(72, 'a') + "=3D");
    EXPECT_EQ(quotedPrintable(part + "\r\n" + part), part + "\r\n" + part);
}

TEST(MailAddressTest, StandsAloneWithoutAName) {
    EXPECT_EQ(address("", "jo@example.com"), "jo@example.com");
}

TEST(MailAddressTest, QuotesANameThatNeedsIt) {
    EXPECT_EQ(address("Jo Doe", "jo@example.com"), "Jo Doe <jo@example.com>");
    EXPECT_EQ(address("Doe, Jo", "jo@example.com"), "\"Doe, Jo\" <jo@example.com>");
    EXPECT_EQ(address("a \"b\" \\", "j@x"), "\"a \\\"b\\\" \\\\\" <j@x>");
    EXPECT_EQ(address("A.", "j@x"), "\"A.\" <j@x>");
    EXPECT_EQ(address(" a", "j@x"), "\" a\" <j@x>");
    EXPECT_EQ(address("a ", "j@x"), "\"a \" <j@x>");
    EXPECT_EQ(address("a  b", "j@x"), "\"a  b\" <j@x>");
}

TEST(MailAddressTest, EncodesTheNameOnly) {
    EXPECT_EQ(address("Jürgen", "jo@example.com"), "=?utf-8?q?J=C3=BCrgen?= <jo@example.com>");
}

TEST(MailAddressTest, EncodesANameThatLooksEncoded) {
    EXPECT_EQ(address("=?utf-8?q?x?=", "j@x"), "=?utf-8?q?=3D=3Futf=2D8=3Fq=3Fx=3F=3D?= <j@x>");
    EXPECT_EQ(address("=?", "j@x"), "\"=?\" <j@x>");
}

TEST(MailAddressTest, FoldsALongAddress) {
    EXPECT_EQ(address(std::string(60, 'a').c_str(), "jo@x.example.com"),
              std::string(60, 'a') + "\r\n <jo@x.example.com>");
    for (const std::string& name : {std::string(2000, 'a'), std::string(2000, '"'), std::string(500, '.')}) {
        const std::string text = address(name.c_str(), "jo@example.com");
        EXPECT_EQ(text, vexil::CMimeMessage::toEncodedWord(String::fromUTF8(name)).toUTF8() +
                            (text.ends_with("\r\n <jo@example.com>") ? "\r\n" : "") + " <jo@example.com>");
        for (std::size_t begin = 0; begin < text.size();) {
            const std::size_t end = std::min(text.find("\r\n", begin), text.size());
            EXPECT_LE(end - begin, 78u);
            begin = end + 2;
        }
    }
}

TEST(MailAddressTest, RefusesWhatIsNone) {
    const std::string bad = "makeAddress: address must be printable ASCII without '<' and '>'";
    for (const char* mailbox : {"", "a<b", "a>b", "a\r\nb", "a\tb", "jö@x", "a\x7F"}) {
        EXPECT_EQ(whatOf([&] { address("n", mailbox); }), bad) << mailbox;
    }
    for (const char* name : {"a\rb", "a\nb"}) {
        EXPECT_EQ(whatOf([&] { address(name, "j@x"); }),
                  "makeAddress: display name must not contain CR, LF or NUL");
    }
    EXPECT_EQ(whatOf([&] { (void)makeAddress(String(std::wstring(L"a\0b", 3)), "j@x"); }),
              "makeAddress: display name must not contain CR, LF or NUL");
    EXPECT_EQ(whatOf([&] { (void)makeAddress("n", String(std::wstring(L"a\0b", 3))); }), bad);
}

}  // namespace
