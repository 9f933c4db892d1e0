#include "vexil/net/HTTPContentRange.h"

#include "tests/support/PrintText.h"
#include "tests/support/WhatOf.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <type_traits>
#include <utility>

namespace {

using namespace std::string_view_literals;
using namespace vexil;
using vexil_test::whatOf;

constexpr int64 smallest = std::numeric_limits<int64>::min();
constexpr int64 largest = std::numeric_limits<int64>::max();

void expectMembers(const CHTTPContentRange& range, const char* unit, int64 first, int64 last,
                   int64 entireSize, const char* where) {
    EXPECT_EQ(range.getUnit(), String(unit)) << where;
    EXPECT_EQ(range.getFirst(), first) << where;
    EXPECT_EQ(range.getLast(), last) << where;
    EXPECT_EQ(range.getEntireContentSize(), entireSize) << where;
}

void expectRange(const char* header, const char* unit, int64 first, int64 last, int64 entireSize) {
    expectMembers(*CHTTPContentRange::parse(header), unit, first, last, entireSize, header);
}

std::string errorOf(const String& header) {
    return whatOf([&] { (void)CHTTPContentRange::parse(header); });
}

TEST(HTTPContentRangeTest, KeepsWhatItIsGiven) {
    expectMembers(CHTTPContentRange("Bytes", 5, -7, 3), "Bytes", 5, -7, 3, "in any order");
    expectMembers(CHTTPContentRange("", smallest, largest, -1), "", smallest, largest, -1, "and any size");
}

TEST(HTTPContentRangeTest, CopiesAndMovesAllThatItHolds) {
    CHTTPContentRange range("Bytes", 5, -7, 3);
    const CHTTPContentRange copy(range);
    expectMembers(copy, "Bytes", 5, -7, 3, "copied");
    CHTTPContentRange assigned("", 0, 0, 0);
    assigned = copy;
    expectMembers(assigned, "Bytes", 5, -7, 3, "assigned");
    const CHTTPContentRange moved(std::move(range));
    expectMembers(moved, "Bytes", 5, -7, 3, "moved");
    expectMembers(range, "Bytes", 5, -7, 3, "moved from");
    CHTTPContentRange moveAssigned("", 0, 0, 0);
    moveAssigned = std::move(assigned);
    expectMembers(moveAssigned, "Bytes", 5, -7, 3, "assigned from what goes away");
}

TEST(HTTPContentRangeTest, OutlivesWhatItWasReadFrom) {
    static_assert(std::is_base_of_v<CBase, CHTTPContentRange>);
    P<CHTTPContentRange> range;
    {
        const String header("bytes 1-2/3");
        range = CHTTPContentRange::parse(header);
    }
    const P<CHTTPContentRange> other = range;
    range = nullptr;
    expectMembers(*other, "bytes", 1, 2, 3, "held by another pointer");
}

TEST(HTTPContentRangeTest, ReadsTheExamplesOfRFC9110) {
    expectRange("bytes 42-1233/1234", "bytes", 42, 1233, 1234);
    expectRange("bytes 42-1233/*", "bytes", 42, 1233, -1);
    expectRange("bytes */1234", "bytes", -1, -1, 1234);
    expectRange("bytes 0-499/1234", "bytes", 0, 499, 1234);
    expectRange("bytes 500-999/1234", "bytes", 500, 999, 1234);
    expectRange("bytes 500-1233/1234", "bytes", 500, 1233, 1234);
    expectRange("bytes 734-1233/1234", "bytes", 734, 1233, 1234);
    expectRange("bytes */47022", "bytes", -1, -1, 47022);
    expectRange("bytes 21010-47021/47022", "bytes", 21010, 47021, 47022);
    expectRange("bytes 500-999/8000", "bytes", 500, 999, 8000);
    expectRange("bytes 7000-7999/8000", "bytes", 7000, 7999, 8000);
}

TEST(HTTPContentRangeTest, ReadsWholeNumbersOnlyWhateverTheUnit) {
    // RFC 9110, 14.6, invents a unit with fractions. A range here has whole positions.
    for (const char* header : {"exampleunit 1.2-4.3/25", "exampleunit 11.2-14.3/25"}) {
        EXPECT_EQ(errorOf(header), std::string("Invalid HTTP Content-Range header: ") + header);
    }
    expectRange("exampleunit 1-4/25", "exampleunit", 1, 4, 25);
}

TEST(HTTPContentRangeTest, ReadsARange) {
    expectRange("bytes 0-499/1234", "bytes", 0, 499, 1234);
    expectRange("Bytes 500-999/*", "bytes", 500, 999, -1);
    expectRange("bytes */1234", "bytes", -1, -1, 1234);
    expectRange("bytes */*", "bytes", -1, -1, -1);
    expectRange("bytes 00-007/08", "bytes", 0, 7, 8);
}

TEST(HTTPContentRangeTest, TheUnitIsAllBeforeTheFirstBlank) {
    expectRange("x-lines 7-7/8", "x-lines", 7, 7, 8);
    expectRange("x-lines */8", "x-lines", -1, -1, 8);
    expectRange("a/b 1-2/3", "a/b", 1, 2, 3);
    expectRange("A-/*-B */3", "a-/*-b", -1, -1, 3);
    expectRange("by\ttes 1-2/3", "by\ttes", 1, 2, 3);
    expectRange("BYTES\xC3\x84 1-2/3", "bytes\xC3\x84", 1, 2, 3);
}

TEST(HTTPContentRangeTest, ReadsNumbersOf64Bits) {
    expectRange("bytes 0-9223372036854775806/9223372036854775807", "bytes", 0, largest - 1, largest);
    expectRange("bytes 9223372036854775807-9223372036854775807/*", "bytes", largest, largest, -1);
    expectRange("bytes 0--9223372036854775808/-9223372036854775808", "bytes", 0, smallest, smallest);
    for (const char* header :
         {"bytes 9223372036854775808-1/2", "bytes 0-9223372036854775808/2", "bytes 0-1/9223372036854775808",
          "bytes 0--9223372036854775809/2", "bytes 0-1/-9223372036854775809", "bytes */18446744073709551616",
          "bytes 18446744073709551616-18446744073709551617/18446744073709551618"}) {
        EXPECT_EQ(errorOf(header), std::string("Invalid HTTP Content-Range header: ") + header);
    }
}

TEST(HTTPContentRangeTest, ReadsDecimalDigitsOnly) {
    for (const char* header : {"bytes 0x1-2/3",
                               "bytes 1-0x2/3",
                               "bytes 1-2/0x3",
                               "bytes 1e0-2/3",
                               "bytes 1-2/3.0",
                               "bytes 1-2/3,",
                               "bytes ++1-2/3",
                               "bytes 1-+-2/3",
                               "bytes 1---2/3",
                               "bytes +-2/3",
                               "bytes 1-2/+",
                               "bytes -/3",
                               "bytes --1/3",
                               "bytes *-*/3",
                               "bytes 0-*/3",
                               "bytes *-4/3",
                               "bytes +*/3",
                               "bytes 1-2/**",
                               "bytes 1-2/*\t*",
                               "bytes \t1-2/3",
                               "bytes 1\t-2/3",
                               "bytes 1-\t2/3",
                               "bytes 1-2\t/3",
                               "bytes 1-2/\t3",
                               "bytes \t*/3",
                               "bytes */\t3",
                               "bytes 1-2/\xC2\xA0"
                               "3",
                               "bytes \xEF\xBC\x91-2/3",
                               "bytes 1-2/\xD9\xA3",
                               "bytes 1\xE2\x80\x93"
                               "2/3",
                               "bytes \xE2\x88\x97/3"}) {
        EXPECT_EQ(errorOf(header), std::string("Invalid HTTP Content-Range header: ") + header);
    }
}

TEST(HTTPContentRangeTest, ANULIsACharacterLikeOthers) {
    for (const std::wstring_view header :
         {L"bytes 1\0-2/3"sv, L"bytes 1-2\0/3"sv, L"bytes 1-2/3\0"sv, L"bytes *\0/3"sv, L"bytes 1-2/*\0"sv}) {
        EXPECT_THROW((void)CHTTPContentRange::parse(String(header)), CError);
    }
    EXPECT_EQ(CHTTPContentRange::parse(String(L"b\0 1-2/3"sv))->getUnit(), String(L"b\0"sv));
}

TEST(HTTPContentRangeTest, WhiteSpaceAroundTheValueDoesNotCount) {
    expectRange(" \t bytes 0-4/5 \r\n", "bytes", 0, 4, 5);
    expectRange("\v\f\r\nbytes */5\v\f", "bytes", -1, -1, 5);
    // Without the spaces around it the value contains no space, and therefore no unit.
    EXPECT_EQ(errorOf(" 0-4/5 "), "Invalid HTTP Content-Range header: 0-4/5");
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
                               "bytes */-1",
                               "bytes */-",
                               "bytes /-",
                               "bytes 1/-",
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
        (void)CHTTPContentRange::parse("bytes x-1/2");
        FAIL();
    } catch (const CError& error) {
        EXPECT_EQ(error.getDomain(), "");
        EXPECT_EQ(error.getCode(), -1);
        EXPECT_TRUE(error.getProps().isEmpty());
        EXPECT_EQ(error.getInnerError().get(), nullptr);
    }
}

TEST(HTTPContentRangeTest, EveryCutIsARangeOrACleanError) {
    for (const std::string whole : {"bytes 10-4999/12345", "bytes */12345", "a-/b +1--2/-3"}) {
        for (std::size_t length = 0; length <= whole.size(); ++length) {
            const std::string cut = whole.substr(0, length);
            // After the last slash and a sign, each more digit makes another size.
            const bool isWhole = length > whole.rfind('/') + 1 && !cut.ends_with('-');
            EXPECT_EQ(errorOf(cut.c_str()), isWhole ? "no error"
                                                    : "Invalid HTTP Content-Range header: " +
                                                          String(cut.c_str()).trimmed().toUTF8());
        }
    }
}

}  // namespace
