// Linux: the definition of libcurl's function in this program wins over libcurl's own.
#include "tests/support/WhatOf.h"
#include "vexil/net/HeaderValues.h"

#include <curl/curl.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace {

std::string givenText;
const time_t* givenTime;
time_t result;

}  // namespace

time_t curl_getdate(const char* text, const time_t* now) {
    givenText = text;
    givenTime = now;
    return result;
}

namespace {

using vexil::parseTimestamp;
using vexil_test::whatOf;
using zet::CTime;

constexpr time_t largest = std::numeric_limits<time_t>::max();
constexpr time_t smallest = std::numeric_limits<time_t>::min();

TEST(TimestampResultTest, MinusOneAndTheLargestResultAreFailures) {
    for (const time_t failure : {time_t{-1}, largest}) {
        result = failure;
        EXPECT_EQ(whatOf([] { (void)parseTimestamp("some day"); }), "Error parsing timestamp 'some day'.");
    }
}

TEST(TimestampResultTest, AnyOtherResultIsATime) {
    for (const time_t seconds : {time_t{0}, time_t{1}, time_t{-2}, time_t{1583219109}, time_t{-1583219109},
                                 time_t{std::numeric_limits<int>::max()}, time_t{0xFFFFFFFF}}) {
        result = seconds;
        EXPECT_EQ(parseTimestamp("x").getMicroseconds(), seconds * 1000000);
    }
    for (const time_t seconds : {largest - 1, smallest, smallest + 1}) {
        result = seconds;
        EXPECT_EQ(parseTimestamp("x"), CTime::fromCTime(seconds));
        EXPECT_TRUE(parseTimestamp("x").isSet());
    }
}

TEST(TimestampResultTest, LibcurlIsGivenTheTextInUTF8) {
    result = 5;
    givenTime = &result;
    (void)parseTimestamp("  3 M\xC3\xA4rz ");
    EXPECT_EQ(givenText, "  3 M\xC3\xA4rz ");
    EXPECT_EQ(givenTime, nullptr);
}

}  // namespace
