#include "vexil/net/HTTPStatusLine.h"

#include "tests/support/PrintText.h"

#include <gtest/gtest.h>

namespace {

using vexil::CError;
using vexil::String;

struct ValidCase {
    const char* line;
    int code;
    const char* info;
};

const ValidCase validCases[] = {
    {"HTTP/1.1 404 Not Found", 404, "Not Found"},
    {"HTTP/1.1 200 OK", 200, "OK"},
    {"http/1.0 404 x", 404, "x"},
    {"hTtP/9 1 x", 1, "x"},
    {"HTTP/2 200", 200, ""},
    {"HTTP/1.1 200", 200, ""},
    {"HTTP/2 200 ", 200, ""},
    {"HTTP/2 200 \r\n", 200, ""},
    {"HTTP/1.1 200 OK\r\n", 200, "OK"},
    {"HTTP/1.1 200 \t  OK  fine \r\n", 200, "OK  fine"},
    {"HTTP/1.1 200 \xc3\x9c", 200, "\xc3\x9c"},
    {"HTTP/ 200 OK", 200, "OK"},
    {"HTTP/\t1.1 200 OK", 200, "OK"},
    {"HTTP/1.1 -1 x", -1, "x"},
    {"HTTP/1.1 007 x", 7, "x"},
    {"HTTP/1.1 2147483647 x", 2147483647, "x"},
};

const char* const invalidLines[] = {
    "",
    "H",
    "HTTP",
    "HTTP/",
    "HTTP/1.1",
    "HTTP/1.1\t200\tOK",
    "FTP/1.0 200 OK",
    " HTTP/1.1 200 OK",
    "HTTPS/1.1 200 OK",
    "HTTP 200 OK",
    "ICY 200 OK",
    "HTTP/1.1 ",
    "HTTP/1.1  200 OK",
    "HTTP/1.1 abc OK",
    "HTTP/1.1 20x OK",
    "HTTP/1.1 0x20 OK",
    "HTTP/1.1 200.1 OK",
    "HTTP/1.1 \t200 OK",
    "HTTP/1.1 200\tOK",
    "HTTP/1.1 200\r\n",
    "HTTP/1.1 - OK",
    "HTTP/1.1 99999999999999999999 OK",
};

void expectInvalid(const String& line) {
    const auto expectError = [&line](auto function) {
        try {
            function();
            ADD_FAILURE() << "accepted: " << line.toUTF8();
        } catch (const CError& error) {
            EXPECT_EQ(error.getMessage(), "Invalid HTTP status line: '" + line + "'");
            EXPECT_EQ(error.getDomain(), "");
            EXPECT_EQ(error.getCode(), -1);
            EXPECT_TRUE(error.getProps().isEmpty());
            EXPECT_EQ(error.getInnerError(), nullptr);
        }
    };
    int code = 0;
    String info;
    expectError([&] { vexil::parseHTTPStatusLine(line, code, info); });
    expectError([&] { (void)vexil::getStatusCodeFromHTTPStatusLine(line); });
    expectError([&] { (void)vexil::getInfoFromHTTPStatusLine(line); });
}

void expectValid(const String& line, int expectedCode, const String& expectedInfo) {
    int code = 99;
    String info = "old";
    vexil::parseHTTPStatusLine(line, code, info);
    EXPECT_EQ(code, expectedCode) << line.toUTF8();
    EXPECT_EQ(info, expectedInfo) << line.toUTF8();
    EXPECT_EQ(vexil::getStatusCodeFromHTTPStatusLine(line), expectedCode) << line.toUTF8();
    EXPECT_EQ(vexil::getInfoFromHTTPStatusLine(line), expectedInfo) << line.toUTF8();
}

TEST(HTTPStatusLineTest, SplitsCodeAndReason) {
    for (const ValidCase& c : validCases) {
        expectValid(c.line, c.code, c.info);
    }
}

TEST(HTTPStatusLineTest, RefusesEverythingElse) {
    for (const char* line : invalidLines) {
        expectInvalid(line);
    }
}

TEST(HTTPStatusLineTest, SplitsAtEveryCut) {
    const String whole = "HTTP/1.1 404 Not Found\r\n";
    const String reason = "Not Found";
    for (std::size_t length = 0; length <= whole.length(); ++length) {
        const String line = whole.substr(0, length);
        if (length <= 9) {
            expectInvalid(line);
        } else {
            const int code = length == 10 ? 4 : length == 11 ? 40 : 404;
            String info = length <= 13 ? String() : reason.substr(0, length - 13);
            info.trim();
            expectValid(line, code, info);
        }
    }
}

TEST(HTTPStatusLineTest, MayWriteOverItsArgument) {
    String line = "HTTP/1.1 404 Not Found";
    int code = 0;
    vexil::parseHTTPStatusLine(line, code, line);
    EXPECT_EQ(code, 404);
    EXPECT_EQ(line, "Not Found");
}

}  // namespace
