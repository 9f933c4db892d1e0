#include "zet/ParseNumber.h"

#include "zet/Error.h"

#include <gtest/gtest.h>

#include <limits>
#include <string_view>

using namespace std::string_view_literals;

namespace {

using zet::int64;
using zet::parseInt64;
using zet::String;

constexpr int64 largest = std::numeric_limits<int64>::max();
constexpr int64 smallest = std::numeric_limits<int64>::min();

std::string messageOf(const String& text, bool allowWhiteSpace) {
    try {
        parseInt64(text, allowWhiteSpace);
    } catch (const zet::CError& error) {
        return error.what();
    }
    return "no error";
}

struct CNumber {
    const char* text;
    int64 value;
};

const CNumber numbers[]{
    {"0", 0},
    {"7", 7},
    {"-7", -7},
    {"+7", 7},
    {"-0", 0},
    {"+0", 0},
    {"007", 7},
    {"-007", -7},
    {"0000000000000000000000000000000000000012", 12},
    {"1234567890123456789", 1234567890123456789},
    {"9223372036854775806", largest - 1},
    {"9223372036854775807", largest},
    {"+9223372036854775807", largest},
    {"-9223372036854775807", -largest},
    {"-9223372036854775808", smallest},
    {"-09223372036854775808", smallest},
};

const char* const badNumbers[]{
    "",
    "+",
    "-",
    "--1",
    "+-1",
    "-+1",
    "++1",
    "1-",
    "1+",
    "a",
    "1a",
    "a1",
    "0x10",
    "1e3",
    "1.0",
    "1,000",
    ".",
    "1 2",
    "- 1",
    "+ 1",
    "1_000",
    "'1'",
    "9223372036854775808",
    "9223372036854775810",
    "+9223372036854775808",
    "-9223372036854775809",
    "-9223372036854775810",
    "18446744073709551616",
    "18446744073709551617",
    "-18446744073709551616",
    "99999999999999999999999999999999",
};

const char* const paddedNumbers[]{" 5", "5 ", "\t5", "5\n", " \t\n\v\f\r5\r\f\v\n\t "};

TEST(ParseNumberTest, ReadsWholeNumbers) {
    for (const CNumber& number : numbers) {
        EXPECT_EQ(parseInt64(number.text, false), number.value) << number.text;
        EXPECT_EQ(parseInt64(number.text, true), number.value) << number.text;
        EXPECT_EQ(zet::parseInt64Strictly(number.text, false), number.value) << number.text;
        EXPECT_EQ(parseInt64(number.text, int64(99)), number.value) << number.text;
    }
}

TEST(ParseNumberTest, RefusesEverythingElse) {
    for (const char* text : badNumbers) {
        const std::string message = "Invalid number: '" + std::string(text) + "'";
        EXPECT_EQ(messageOf(text, false), message);
        EXPECT_EQ(messageOf(text, true), message);
        EXPECT_EQ(parseInt64(text, int64(99)), 99) << text;
    }
}

TEST(ParseNumberTest, SkipsWhiteSpaceAtBothEndsWhenAllowed) {
    for (const char* text : paddedNumbers) {
        EXPECT_EQ(parseInt64(text, true), 5);
        EXPECT_EQ(messageOf(text, false), "Invalid number: '" + std::string(text) + "'");
        EXPECT_EQ(parseInt64(text, int64(99)), 99) << "the form with a default skips no white space";
    }
    EXPECT_EQ(messageOf(" ", true), "Invalid number: ' '");
    EXPECT_EQ(messageOf(" 1 2 ", true), "Invalid number: ' 1 2 '");
    EXPECT_EQ(messageOf(" - 1", true), "Invalid number: ' - 1'");
}

TEST(ParseNumberTest, AcceptsOnlyDigitsAndWhiteSpaceOfASCII) {
    EXPECT_NE(messageOf(L"\u0665", false), "no error") << "Arabic digit";
    EXPECT_NE(messageOf(L"\uFF15", false), "no error") << "full-width digit";
    EXPECT_NE(messageOf(L"\u00A05", true), "no error") << "no-break space";
    EXPECT_NE(messageOf(L"\u0135", false), "no error") << "units are not cut to bytes";
    EXPECT_NE(messageOf(L"\u2212"
                        L"5",
                        false),
              "no error")
        << "minus sign";
}

TEST(ParseNumberTest, SeesWhatFollowsANulCharacter) {
    EXPECT_NE(messageOf(String::fromUTF8("5\0"sv), false), "no error");
    EXPECT_NE(messageOf(String::fromUTF8("5\0"sv), true), "no error");
    EXPECT_EQ(parseInt64(String::fromUTF8("5\0"sv), int64(99)), 99);
}

TEST(ParseNumberTest, TakesANumberAsTheDefaultAndOnlyABoolAsTheFlag) {
    EXPECT_EQ(parseInt64("bad", 0), 0);
    EXPECT_EQ(parseInt64("bad", 1), 1);
    EXPECT_EQ(parseInt64("bad", -1), -1);
    EXPECT_EQ(parseInt64("bad", largest), largest);
    EXPECT_EQ(parseInt64("bad", smallest), smallest);
    EXPECT_THROW(parseInt64("bad", false), zet::CError);
    EXPECT_THROW(parseInt64("bad", true), zet::CError);
}

TEST(ParseNumberTest, NamesOnlyTheTextInItsError) {
    try {
        parseInt64("x", false);
        FAIL();
    } catch (const zet::CError& error) {
        EXPECT_EQ(error.getDomain(), "");
        EXPECT_EQ(error.getCode(), -1);
        EXPECT_TRUE(error.getProps().isEmpty());
        EXPECT_EQ(error.getInnerError(), nullptr);
    }
}

TEST(ParseSimpleDoubleTest, ReadsDecimalFractions) {
    EXPECT_EQ(zet::parseSimpleDouble("12", -1), 12);
    EXPECT_EQ(zet::parseSimpleDouble("+12.5", -1), 12.5);
    EXPECT_EQ(zet::parseSimpleDouble("-0.25", -1), -0.25);
    EXPECT_EQ(zet::parseSimpleDouble(".5", -1), 0.5);
    EXPECT_EQ(zet::parseSimpleDouble("5.", -1), 5);
    EXPECT_EQ(zet::parseSimpleDouble("000.1250000000000000000000000000000000000000", -1), 0.125);
}

TEST(ParseSimpleDoubleTest, AnythingElseIsTheDefault) {
    for (const char* text : {"", ".", "+", "-", "+-1", "--1", "1e3", "1,5", " 1", "1 ", "1.2.3", "inf", "nan",
                             "0x1", "é", "1-2"}) {
        EXPECT_EQ(zet::parseSimpleDouble(text, -7), -7) << text;
    }
    EXPECT_EQ(zet::parseSimpleDouble(String(std::wstring(400, L'9')), -7), -7) << "too large";
}

}  // namespace
