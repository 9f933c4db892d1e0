#include "apps/vexil/base/Duration.h"

#include <gtest/gtest.h>

namespace vexil::app {

TEST(DurationTest, IsANumberAndAUnit) {
    EXPECT_EQ(parseDuration("0s"), 0);
    EXPECT_EQ(parseDuration("90s"), 90);
    EXPECT_EQ(parseDuration("30m"), 1800);
    EXPECT_EQ(parseDuration("12h"), 43200);
    EXPECT_EQ(parseDuration("7d"), 604800);
    EXPECT_EQ(parseDuration("2w"), 1209600);
    EXPECT_EQ(parseDuration("36525d"), 3155760000);
}

TEST(DurationTest, OtherTextsAreRefused) {
    for (const char* text : {"", "s", "7", "7 d", " 7d", "7d ", "-7d", "+7d", "1.5h", "7D", "7days", "1d2h",
                             "0x1s", "36526d", "99999999999999999999s", "3155760001s"}) {
        EXPECT_FALSE(parseDuration(text)) << text;
    }
}

TEST(ISOTimeTest, IsReadInUTC) {
    constexpr int64 microseconds = 1'000'000;
    for (const char* text : {"2010-11-10T20:48:33.000Z", "2010-11-10T20:48:33Z",
                             "2010-11-10T20:48:33.999999Z", "2010-11-10T20:48:33+00:00"}) {
        const auto time = parseISOTime(text);
        ASSERT_TRUE(time) << text;
        EXPECT_EQ(time->getMicroseconds(), 1289422113 * microseconds) << text;
    }
}

TEST(ISOTimeTest, OtherTextsAreRefused) {
    for (const char* text : {"", "2010-11-10", "2010-11-10T20:48:33", "2010-11-10 20:48:33Z",
                             "2010-11-10T20:48:33+01:00", "2010-13-10T20:48:33Z", "2010-11-10T20:48:33ZZ",
                             "x010-11-10T20:48:33Z", "Wed, 10 Nov 2010 20:48:33 GMT"}) {
        EXPECT_FALSE(parseISOTime(text)) << text;
    }
}

TEST(MomentTest, IsADurationAgoOrATime) {
    constexpr int64 now = 1'800'000'000;
    EXPECT_EQ(parseMoment("3d", now), (CFileTime{now - 259200, 0}));
    EXPECT_EQ(parseMoment("2026-01-01Z", now), (CFileTime{1'767'225'600, 0}));
    EXPECT_EQ(parseMoment("2026-01-01T12:34Z", now), (CFileTime{1'767'225'600 + 45240, 0}));
    EXPECT_EQ(parseMoment("1969-12-31T23:59:58Z", now), (CFileTime{-2, 0}));
    EXPECT_TRUE(parseMoment("2026-01-01T12:34:56", now));
}

TEST(MomentTest, OtherTextsAreRefused) {
    for (const char* text : {"", "Z", "3", "2026-1-1", "2026-13-01", "2026-02-29", "2026-01-01T24:00Z",
                             "2026-01-01T00:60Z", "2026-01-01T00:00:60Z", "2026-01-01 00:00", "2026-01-01T",
                             "2026-01-01T00:00:00.5Z", "2026-01-01T00:00+01:00"}) {
        EXPECT_FALSE(parseMoment(text, 0)) << text;
    }
}

}  // namespace vexil::app
