#include "zet/Time.h"

#include "zet/Error.h"
#include "zet/TimeFields.h"
#include "zet/TimeSpan.h"

#include <gtest/gtest.h>

#include <chrono>
#include <limits>

namespace {

using zet::CTime;
using zet::CTimeFields;
using zet::CTimeSpan;
using zet::int64;

constexpr int64 largest = std::numeric_limits<int64>::max();
constexpr int64 smallest = std::numeric_limits<int64>::min();

CTimeFields fieldsOf(int64 seconds) {
    return CTimeFields(CTime::fromCTime(seconds));
}

std::string timestampOf(int64 seconds) {
    return fieldsOf(seconds).toInternetTimestamp().toUTF8();
}

std::string messageOf(const CTime& time) {
    try {
        CTimeFields fields(time);
    } catch (const zet::CError& error) {
        return error.what();
    }
    return "no error";
}

TEST(TimeSpanTest, IsNotSetAtFirst) {
    EXPECT_FALSE(CTimeSpan().isSet());
    EXPECT_FALSE(CTimeSpan::fromMicroseconds(smallest).isSet());
    EXPECT_EQ(CTimeSpan(), CTimeSpan::fromMicroseconds(smallest));
    EXPECT_TRUE(CTimeSpan::fromMicroseconds(0).isSet());
    EXPECT_TRUE(CTimeSpan::fromMicroseconds(smallest + 1).isSet());
}

TEST(TimeSpanTest, CountsInThreeUnits) {
    EXPECT_EQ(CTimeSpan::fromMicroseconds(7).getMicroseconds(), 7);
    EXPECT_EQ(CTimeSpan::fromMilliseconds(7).getMicroseconds(), 7000);
    EXPECT_EQ(CTimeSpan::fromSeconds(7).getMicroseconds(), 7000000);
    EXPECT_EQ(CTimeSpan::fromSeconds(-7).getMicroseconds(), -7000000);
    EXPECT_EQ(CTimeSpan::fromSeconds(0).getMicroseconds(), 0);
}

TEST(TimeSpanTest, RoundsMillisecondsTowardZero) {
    EXPECT_EQ(CTimeSpan::fromMicroseconds(1999).getMilliseconds(), 1);
    EXPECT_EQ(CTimeSpan::fromMicroseconds(-1999).getMilliseconds(), -1);
    EXPECT_EQ(CTimeSpan::fromMicroseconds(999).getMilliseconds(), 0);
    EXPECT_EQ(CTimeSpan::fromMicroseconds(-999).getMilliseconds(), 0);
}

TEST(TimeSpanTest, SaturatesAndStaysSet) {
    EXPECT_EQ(CTimeSpan::fromSeconds(largest).getMicroseconds(), largest);
    EXPECT_EQ(CTimeSpan::fromMilliseconds(largest).getMicroseconds(), largest);
    EXPECT_EQ(CTimeSpan::fromSeconds(smallest).getMicroseconds(), -largest);
    EXPECT_EQ(CTimeSpan::fromMilliseconds(smallest).getMicroseconds(), -largest);
    EXPECT_TRUE(CTimeSpan::fromSeconds(smallest).isSet());
    // The last count that fits, and the first one that does not.
    EXPECT_EQ(CTimeSpan::fromSeconds(9223372036854).getMicroseconds(), 9223372036854000000);
    EXPECT_EQ(CTimeSpan::fromSeconds(9223372036855).getMicroseconds(), largest);
    EXPECT_EQ(CTimeSpan::fromSeconds(-9223372036854).getMicroseconds(), -9223372036854000000);
    EXPECT_EQ(CTimeSpan::fromSeconds(-9223372036855).getMicroseconds(), -largest);
}

TEST(TimeSpanTest, IsMadeOfDurations) {
    using namespace std::chrono_literals;
    const CTimeSpan implicitly = 7ms;
    EXPECT_EQ(implicitly, CTimeSpan::fromMilliseconds(7));
    EXPECT_EQ(CTimeSpan(7us).getMicroseconds(), 7);
    EXPECT_EQ(CTimeSpan(-1999ns).getMicroseconds(), -1);
    EXPECT_EQ(CTimeSpan(2h), CTimeSpan::fromSeconds(7200));
    EXPECT_EQ(CTimeSpan(1.5s), CTimeSpan::fromMilliseconds(1500));
    EXPECT_EQ(CTimeSpan(0s), CTimeSpan::fromSeconds(0));
    static_assert(CTimeSpan(1s).getMicroseconds() == 1000000);
}

TEST(TimeSpanTest, IsMadeOfDurationsThatAreTooLong) {
    using namespace std::chrono;
    EXPECT_EQ(CTimeSpan(hours::max()).getMicroseconds(), largest);
    EXPECT_EQ(CTimeSpan(hours::min()).getMicroseconds(), -largest);
    EXPECT_EQ(CTimeSpan(seconds::max()).getMicroseconds(), largest);
    EXPECT_EQ(CTimeSpan(seconds::min()).getMicroseconds(), -largest);
    EXPECT_EQ(CTimeSpan(microseconds::max()).getMicroseconds(), largest);
    EXPECT_EQ(CTimeSpan(microseconds::min()).getMicroseconds(), -largest);
    EXPECT_EQ(CTimeSpan(microseconds(largest - 1)).getMicroseconds(), largest - 1);
    EXPECT_EQ(CTimeSpan(duration<double>(1e300)).getMicroseconds(), largest);
    EXPECT_EQ(CTimeSpan(duration<double>(-std::numeric_limits<double>::infinity())).getMicroseconds(),
              -largest);
    EXPECT_FALSE(CTimeSpan(duration<double>(std::numeric_limits<double>::quiet_NaN())).isSet());
}

TEST(TimeSpanTest, Orders) {
    EXPECT_LT(CTimeSpan::fromMilliseconds(999), CTimeSpan::fromSeconds(1));
    EXPECT_EQ(CTimeSpan::fromMilliseconds(1000), CTimeSpan::fromSeconds(1));
    EXPECT_LT(CTimeSpan(), CTimeSpan::fromSeconds(-largest));
}

TEST(TimeTest, IsNotSetAtFirstAndSortsBeforeAllOthers) {
    EXPECT_FALSE(CTime().isSet());
    EXPECT_TRUE(CTime::fromCTime(0).isSet());
    EXPECT_TRUE(CTime::fromCTime(smallest).isSet());
    EXPECT_LT(CTime(), CTime::fromCTime(smallest));
    EXPECT_FALSE(CTime::fromMicroseconds(smallest).isSet());
}

TEST(TimeTest, CountsMicrosecondsSince1970) {
    EXPECT_EQ(CTime::fromCTime(0).getMicroseconds(), 0);
    EXPECT_EQ(CTime::fromCTime(-1).getMicroseconds(), -1000000);
    EXPECT_EQ(CTime::fromMicroseconds(5).getMicroseconds(), 5);
    EXPECT_LT(CTime::fromCTime(-1), CTime::fromMicroseconds(-1));
}

TEST(TimeTest, GivesTheNearestTimeBeyondItsRange) {
    EXPECT_EQ(CTime::fromCTime(largest).getMicroseconds(), largest);
    EXPECT_EQ(CTime::fromCTime(smallest).getMicroseconds(), -largest);
}

TEST(TimeTest, KnowsTheTime) {
    const CTime first = CTime::now();
    EXPECT_GT(first, CTime::fromCTime(1600000000)) << "2020 is over";
    EXPECT_LT(first, CTime::fromCTime(32503680000)) << "3000 has not begun";
}

TEST(TimeFieldsTest, BreaksATimeDown) {
    const CTimeFields fields(CTime::fromMicroseconds(1583219109123456), CTimeFields::FieldTypeUTC);
    EXPECT_EQ(fields.getYear(), 2020);
    EXPECT_EQ(fields.getMonth(), 3);
    EXPECT_EQ(fields.getDay(), 3);
    EXPECT_EQ(fields.getWeekDay(), 2);
    EXPECT_EQ(fields.getHour(), 7);
    EXPECT_EQ(fields.getMinute(), 5);
    EXPECT_EQ(fields.getSecond(), 9);
    EXPECT_EQ(fields.getMicrosecond(), 123456);
    EXPECT_EQ(static_cast<int>(CTimeFields::FieldTypeUTC), 1);
}

TEST(TimeFieldsTest, WritesInternetTimestamps) {
    EXPECT_EQ(timestampOf(1583219109), "Tue, 03 Mar 2020 07:05:09 GMT");
    EXPECT_EQ(timestampOf(0), "Thu, 01 Jan 1970 00:00:00 GMT");
    EXPECT_EQ(timestampOf(784111777), "Sun, 06 Nov 1994 08:49:37 GMT");
    EXPECT_EQ(timestampOf(2147483648), "Tue, 19 Jan 2038 03:14:08 GMT");
    EXPECT_EQ(timestampOf(4294967296), "Sun, 07 Feb 2106 06:28:16 GMT");
}

TEST(TimeFieldsTest, KnowsTheTimeBefore1970) {
    EXPECT_EQ(timestampOf(-1), "Wed, 31 Dec 1969 23:59:59 GMT");
    EXPECT_EQ(timestampOf(-86400), "Wed, 31 Dec 1969 00:00:00 GMT");
    EXPECT_EQ(timestampOf(-86401), "Tue, 30 Dec 1969 23:59:59 GMT");
    const CTimeFields fields(CTime::fromMicroseconds(-1));
    EXPECT_EQ(fields.getSecond(), 59);
    EXPECT_EQ(fields.getMicrosecond(), 999999);
    EXPECT_EQ(fields.toISODateTime(6), "1969-12-31T23:59:59.999999Z");
}

TEST(TimeFieldsTest, KnowsLeapYears) {
    EXPECT_EQ(timestampOf(951782400), "Tue, 29 Feb 2000 00:00:00 GMT") << "divisible by 400";
    EXPECT_EQ(timestampOf(4107542400), "Mon, 01 Mar 2100 00:00:00 GMT") << "divisible by 100";
    EXPECT_EQ(timestampOf(4107542399), "Sun, 28 Feb 2100 23:59:59 GMT");
    EXPECT_EQ(timestampOf(1709164800), "Thu, 29 Feb 2024 00:00:00 GMT");
    EXPECT_EQ(timestampOf(1677628800), "Wed, 01 Mar 2023 00:00:00 GMT");
    EXPECT_EQ(timestampOf(1735603200), "Tue, 31 Dec 2024 00:00:00 GMT");
}

TEST(TimeFieldsTest, CountsEveryDayOfTheCalendar) {
    int64 day = -719528;  // 0000-01-01
    int weekDay = 6;
    for (int year = 0; year <= 9999; ++year) {
        const bool isLeap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
        const int lengths[]{31, isLeap ? 29 : 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
        for (int month = 1; month <= 12; ++month) {
            const CTimeFields fields = fieldsOf(day * 86400);
            ASSERT_EQ(fields.getYear(), year);
            ASSERT_EQ(fields.getMonth(), month);
            ASSERT_EQ(fields.getDay(), 1);
            ASSERT_EQ(fields.getWeekDay(), weekDay);
            day += lengths[month - 1];
            weekDay = (weekDay + lengths[month - 1]) % 7;
            ASSERT_EQ(fieldsOf(day * 86400 - 1).getDay(), lengths[month - 1]);
        }
    }
}

TEST(TimeFieldsTest, WritesISOTimesAndCutsTheFraction) {
    const CTimeFields fields(CTime::fromMicroseconds(1583219109129999));
    EXPECT_EQ(fields.toISODateTime(3), "2020-03-03T07:05:09.129Z");
    EXPECT_EQ(fields.toISODateTime(0), "2020-03-03T07:05:09Z");
    EXPECT_EQ(fields.toISODateTime(1), "2020-03-03T07:05:09.1Z");
    EXPECT_EQ(fields.toISODateTime(6), "2020-03-03T07:05:09.129999Z");
    EXPECT_EQ(fields.toISODateTime(7), fields.toISODateTime(6));
    EXPECT_EQ(fields.toISODateTime(-1), fields.toISODateTime(0));
    EXPECT_EQ(CTimeFields(CTime::fromMicroseconds(7)).toISODateTime(6), "1970-01-01T00:00:00.000007Z");
    EXPECT_EQ(CTimeFields(CTime::fromMicroseconds(7)).toISODateTime(3), "1970-01-01T00:00:00.000Z");
}

TEST(TimeFieldsTest, RefusesATimeThatIsNotSet) {
    EXPECT_EQ(messageOf(CTime()), "Time is not set.");
}

TEST(TimeFieldsTest, AcceptsTheYears0To9999) {
    const CTime begin = CTime::fromCTime(-62167219200);
    const CTime end = CTime::fromCTime(253402300800);
    EXPECT_EQ(CTimeFields(begin).toISODateTime(0), "0000-01-01T00:00:00Z");
    EXPECT_EQ(CTimeFields(CTime::fromMicroseconds(end.getMicroseconds() - 1)).toISODateTime(6),
              "9999-12-31T23:59:59.999999Z");
    const char* refusal = "Time is outside the years 0 to 9999.";
    EXPECT_EQ(messageOf(CTime::fromMicroseconds(begin.getMicroseconds() - 1)), refusal);
    EXPECT_EQ(messageOf(end), refusal);
    EXPECT_EQ(messageOf(CTime::fromCTime(largest)), refusal);
    EXPECT_EQ(messageOf(CTime::fromCTime(smallest)), refusal);
}

TEST(TimeFieldsTest, NamesDaysAndMonths) {
    const char* days[]{"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    for (int i = 0; i < 7; ++i) {
        EXPECT_EQ(CTimeFields::getEnglishWeekDayAbbrev(i), days[i]);
    }
    const char* months[]{"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    for (int i = 0; i < 12; ++i) {
        EXPECT_EQ(CTimeFields::getEnglishMonthAbbrev(i + 1), months[i]);
    }
    EXPECT_THROW(static_cast<void>(CTimeFields::getEnglishWeekDayAbbrev(-1)), zet::CError);
    EXPECT_THROW(static_cast<void>(CTimeFields::getEnglishWeekDayAbbrev(7)), zet::CError);
    EXPECT_THROW(static_cast<void>(CTimeFields::getEnglishMonthAbbrev(0)), zet::CError);
    EXPECT_THROW(static_cast<void>(CTimeFields::getEnglishMonthAbbrev(13)), zet::CError);
    EXPECT_THROW(static_cast<void>(CTimeFields::getEnglishMonthAbbrev(std::numeric_limits<int>::min())),
                 zet::CError);
}

}  // namespace
