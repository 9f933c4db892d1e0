// Times that are composed from their fields.
#include "zet/TimeFields.h"

#include "tests/support/WhatOf.h"
#include "zet/Error.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using vexil_test::whatOf;
using zet::CTime;
using zet::CTimeFields;

CTimeFields fieldsOf(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
    CTimeFields fields;
    fields.setDate(year, month, day);
    fields.setTime(hour, minute, second);
    return fields;
}

std::string zoneOf(int minutes) {
    CTimeFields fields;
    fields.setTimeZone(minutes);
    return fields.getInternetTimeZoneString("?").toUTF8();
}

TEST(TimeFieldsTest, BeginWithTheYear1970) {
    EXPECT_EQ(CTimeFields().toTime(), CTime::fromCTime(0));
    EXPECT_EQ(CTimeFields().getWeekDay(), 4) << "a Thursday";
}

TEST(TimeFieldsTest, BecomeATime) {
    EXPECT_EQ(fieldsOf(2020, 1, 31, 23, 59, 59).toTime(), CTime::fromCTime(1580515199));
    EXPECT_EQ(fieldsOf(1969, 12, 31, 23, 59, 59).toTime(), CTime::fromCTime(-1));
    EXPECT_EQ(fieldsOf(0, 1, 1).toTime(), CTime::fromCTime(-62167219200));
    EXPECT_EQ(fieldsOf(9999, 12, 31, 23, 59, 59).toTime(), CTime::fromCTime(253402300799));
}

TEST(TimeFieldsTest, ComeBackFromTheirTime) {
    for (const zet::int64 seconds : {-62167219200LL, -1LL, 0LL, 951782400LL, 1582934400LL, 253402300799LL}) {
        const CTime time = CTime::fromMicroseconds(seconds * 1000000 + 250000);
        const CTimeFields fields(time);
        EXPECT_EQ(fields.toTime(), time);
        CTimeFields copied = fieldsOf(fields.getYear(), fields.getMonth(), fields.getDay(), fields.getHour(),
                                      fields.getMinute(), fields.getSecond());
        copied.setFractSecond(0.25);
        EXPECT_EQ(copied.toTime(), time);
        EXPECT_EQ(copied.getWeekDay(), fields.getWeekDay());
    }
}

TEST(TimeFieldsTest, ALeapSecondIsTheNextMinutesFirst) {
    EXPECT_EQ(fieldsOf(2016, 12, 31, 23, 59, 60).toTime(), CTime::fromCTime(1483228800));
}

TEST(TimeFieldsTest, GiveNoTimeForAnInvalidDate) {
    const int noDates[][3] = {{2021, 2, 29}, {1900, 2, 29}, {2020, 4, 31}, {2020, 0, 1},  {2020, 13, 1},
                              {2020, 1, 0},  {2020, 1, 32}, {-1, 1, 1},    {10000, 1, 1}, {2020, -5, -5}};
    for (const auto& [year, month, day] : noDates) {
        EXPECT_FALSE(fieldsOf(year, month, day).toTime().isSet()) << year << "-" << month << "-" << day;
        EXPECT_EQ(fieldsOf(year, month, day).getWeekDay(), -1) << year << "-" << month << "-" << day;
    }
    EXPECT_TRUE(fieldsOf(2020, 2, 29).toTime().isSet());
    EXPECT_TRUE(fieldsOf(2000, 2, 29).toTime().isSet());
}

TEST(TimeFieldsTest, GiveNoTimeForAnInvalidClockTime) {
    const int noTimes[][3] = {{24, 0, 0}, {0, 60, 0}, {0, 0, 61}, {-1, 0, 0}, {0, -1, 0}, {0, 0, -1}};
    for (const auto& [hour, minute, second] : noTimes) {
        EXPECT_FALSE(fieldsOf(2020, 1, 1, hour, minute, second).toTime().isSet())
            << hour << ":" << minute << ":" << second;
    }
}

TEST(TimeFieldsTest, AFractionIsCutToItsSecond) {
    const auto microsecondsOf = [](double fraction) {
        CTimeFields fields;
        fields.setFractSecond(fraction);
        return fields.getMicrosecond();
    };
    EXPECT_EQ(microsecondsOf(0), 0);
    EXPECT_EQ(microsecondsOf(0.25), 250000);
    EXPECT_EQ(microsecondsOf(0.000001), 1);
    EXPECT_EQ(microsecondsOf(0.290001), 290001);
    EXPECT_EQ(microsecondsOf(0.9999999), 999999) << "not the next second";
    EXPECT_EQ(microsecondsOf(1), 999999);
    EXPECT_EQ(microsecondsOf(1e300), 999999);
    EXPECT_EQ(microsecondsOf(-0.5), 0);
    EXPECT_EQ(microsecondsOf(std::numeric_limits<double>::quiet_NaN()), 0);
}

TEST(TimeFieldsTest, ANewClockTimeHasNoFraction) {
    CTimeFields fields;
    fields.setFractSecond(0.5);
    fields.setTime(1, 2, 3);
    EXPECT_EQ(fields.getMicrosecond(), 0);
}

TEST(TimeFieldsTest, ATimeZoneIsAheadOfUTC) {
    CTimeFields fields = fieldsOf(2020, 3, 3, 7, 5, 9);
    fields.setTimeZone(60);
    EXPECT_EQ(fields.toTime(), fieldsOf(2020, 3, 3, 6, 5, 9).toTime());
    fields.setTimeZone(-570);
    EXPECT_EQ(fields.toTime(), fieldsOf(2020, 3, 3, 16, 35, 9).toTime());
}

TEST(TimeFieldsTest, WriteTimeZonesAsMailDoes) {
    EXPECT_EQ(zoneOf(0), "+0000");
    EXPECT_EQ(zoneOf(60), "+0100");
    EXPECT_EQ(zoneOf(-30), "-0030");
    EXPECT_EQ(zoneOf(-570), "-0930");
    EXPECT_EQ(zoneOf(5999), "+9959");
    EXPECT_EQ(CTimeFields().getInternetTimeZoneString("none"), "none");
    EXPECT_EQ(CTimeFields(CTime::fromCTime(0)).getInternetTimeZoneString("none"), "+0000");
}

TEST(TimeFieldsTest, RefuseATimeZoneOfAHundredHours) {
    EXPECT_EQ(whatOf([] { zoneOf(6000); }), "Invalid date/time fields.");
    EXPECT_EQ(whatOf([] { zoneOf(-6000); }), "Invalid date/time fields.");
    EXPECT_EQ(whatOf([] { zoneOf(std::numeric_limits<int>::min()); }), "Invalid date/time fields.");
}

TEST(TimeFieldsTest, AGivenDayOfTheWeekCounts) {
    CTimeFields fields;
    fields.setDate(2020, 3, 3, 6);
    EXPECT_EQ(fields.getWeekDay(), 6);
    fields.setDate(2020, 3, 3);
    EXPECT_EQ(fields.getWeekDay(), 2) << "a Tuesday";
}

}  // namespace
