#include "apps/vexil/base/FileTime.h"

#include <gtest/gtest.h>

#include <limits>
#include <utility>

namespace vexil::app {

namespace {

constexpr int almostASecond = 999'999'999;

TEST(FileTimeTest, IsADecimalNumberWithNineDigits) {
    EXPECT_EQ((CFileTime{1'763'899'200, 123'456'789}).toText(), "1763899200.123456789");
    EXPECT_EQ((CFileTime{0, 0}).toText(), "0.000000000");
    EXPECT_EQ((CFileTime{5, 7}).toText(), "5.000000007");
}

TEST(FileTimeTest, TimesBefore1970AreNegativeNumbers) {
    EXPECT_EQ((CFileTime{-1, 750'000'000}).toText(), "-0.250000000");
    EXPECT_EQ((CFileTime{-2, 500'000'000}).toText(), "-1.500000000");
    EXPECT_EQ((CFileTime{-2, 0}).toText(), "-2.000000000");
}

TEST(FileTimeTest, EachTextIsReadBack) {
    for (const CFileTime time :
         {CFileTime{0, 0}, CFileTime{1, 1}, CFileTime{-1, 1}, CFileTime{-1, almostASecond}, CFileTime{-1, 0},
          CFileTime{-3, 500'000'000}, CFileTime{4'102'444'800, almostASecond},
          CFileTime{std::numeric_limits<int64>::max(), almostASecond},
          CFileTime{std::numeric_limits<int64>::min() + 1, 0}}) {
        EXPECT_EQ(CFileTime::fromText(time.toText()), time) << time.toText();
    }
}

TEST(FileTimeTest, FewerDigitsAreAccepted) {
    EXPECT_EQ(CFileTime::fromText("12"), (CFileTime{12, 0}));
    EXPECT_EQ(CFileTime::fromText("12.5"), (CFileTime{12, 500'000'000}));
    EXPECT_EQ(CFileTime::fromText("-0.5"), (CFileTime{-1, 500'000'000}));
}

TEST(FileTimeTest, OtherTextsAreRefused) {
    for (const char* text : {"", "-", ".", "1.", ".5", "1.2.3", "1,5", " 1", "1 ", "+1", "--1", "1.-5",
                             "0x10", "1e3", "1.0123456789", "9223372036854775808"}) {
        EXPECT_EQ(CFileTime::fromText(text), std::nullopt) << text;
    }
}

}  // namespace

}  // namespace vexil::app
