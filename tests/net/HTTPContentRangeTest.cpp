#include "vexil/net/HTTPContentRange.h"

#include "tests/support/PrintText.h"
#include "tests/support/WhatOf.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace vexil;
using vexil_test::whatOf;

void expectRange(const char* header, const char* unit, int64 first, int64 last, int64 entireSize) {
    const auto range = CHTTPContentRange::parse(header);
    EXPECT_EQ(range->getUnit(), unit) << header;
    EXPECT_EQ(range->getFirst(), first) << header;
    EXPECT_EQ(range->getLast(), last) << header;
    EXPECT_EQ(range->getEntireContentSize(), entireSize) << header;
}

std::string errorOf(const String& header) {
    return whatOf([&] { CHTTPContentRange::parse(header); });
}

TEST(HTTPContentRangeTest, KeepsWhatItIsGiven) {
    const CHTTPContentRange range("Bytes", 5, -7, 3);
    const CHTTPContentRange copy(range);
    EXPECT_EQ(copy.getUnit(), "Bytes");
    EXPECT_EQ(copy.getFirst(), 5);
    EXPECT_EQ(copy.getLast(), -7);
    EXPECT_EQ(copy.getEntireContentSize(), 3);
}

TEST(HTTPContentRangeTest, ReadsARange) {
    expectRange("bytes 0-499/1234", "bytes", 0, 499, 1234);
    expectRange("Bytes 500-999/*", "bytes", 500, 999, -1);
    expectRange("bytes */1234", "bytes", -1, -1, 1234);
    expectRange("bytes */*", "bytes", -1, -1, -1);
    expectRange("x-lines 7-7/8", "x-lines", 7, 7, 8);
    expectRange("bytes 0-9223372036854775806/9223372036854775807", "bytes", 0, 9223372036854775806,
                9223372036854775807);
}

TEST(HTTPContentRangeTest, WhiteSpaceAroundTheValueDoesNotCount) {
    expectRange(" \t bytes 0-4/5 \r\n", "bytes", 0, 4, 5);
}

TEST(HTTPContentRangeTest, DoesNotCompareItsNumbers) {
    expectRange("bytes 9-3/2", "bytes", 9, 3, 2);
    expectRange("bytes 0--5/-1", "bytes", 0, -5, -1);
    expectRange("bytes +1-+2/+3", "bytes", 1, 2, 3);
}

TEST(HTTPContentRangeTest, RefusesAnythingElse) {
    for (const char* header : {"bytes 0-499",
                               "0-499/1234",
                               "bytes x-499/1234",
                               "bytes 10/20",
                               "",
                               "bytes",
                               "bytes ",
                               "bytes /",
                               "bytes */",
                               "bytes -5/10",
                               "bytes 5-/10",
                               "bytes 0-4/x",
                               "bytes 0-4/5/6",
                               "bytes  0-4/5",
                               "bytes 0 -4/5",
                               "bytes 0-4 /5",
                               "bytes 0-4/ 5",
                               "bytes **/5",
                               "bytes */1-2",
                               "bytes 12/3-4",
                               "bytes=0-4/5",
                               "bytes 0-4/ *",
                               "bytes 0-99999999999999999999/5",
                               "/ 0-4",
                               "bytes\t0-4/5"}) {
        EXPECT_EQ(errorOf(header), "Invalid HTTP Content-Range header: " + String(header).trimmed().toUTF8());
    }
    EXPECT_EQ(errorOf(" \tbytes 0-499 \r\n"), "Invalid HTTP Content-Range header: bytes 0-499");
}

TEST(HTTPContentRangeTest, AnErrorHasNothingButItsMessage) {
    try {
        CHTTPContentRange::parse("bytes x-1/2");
        FAIL();
    } catch (const CError& error) {
        EXPECT_EQ(error.getDomain(), "");
        EXPECT_EQ(error.getCode(), -1);
        EXPECT_TRUE(error.getProps().isEmpty());
        EXPECT_EQ(error.getInnerError().get(), nullptr);
    }
}

TEST(HTTPContentRangeTest, EveryCutIsARangeOrACleanError) {
    const std::string whole = "bytes 10-4999/12345";
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        const std::string cut = whole.substr(0, length);
        const std::string error = errorOf(cut.c_str());
        const bool isWhole = length > whole.find('/') + 1;
        EXPECT_EQ(error,
                  isWhole ? "no error"
                          : "Invalid HTTP Content-Range header: " + String(cut.c_str()).trimmed().toUTF8());
    }
}

}  // namespace
