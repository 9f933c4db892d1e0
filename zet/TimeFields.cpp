#include "zet/TimeFields.h"

#include "zet/Error.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <string>

namespace zet {

namespace {

constexpr int maxTimeZone = 100 * 60;  // minutes

std::string padded(int value, std::size_t digits) {
    std::string text = std::to_string(value);
    if (text.size() < digits) {
        text.insert(0, digits - text.size(), '0');
    }
    return text;
}

template <std::size_t count>
const char* nameOf(int number, int first, const std::array<const char*, count>& names) {
    if (number < first || number - first >= static_cast<int>(count)) {
        throw CError("Invalid date/time fields.");
    }
    return names[static_cast<std::size_t>(number - first)];
}

const char* nameOfWeekDay(int weekDay) {
    static constexpr std::array names{"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    return nameOf(weekDay, 0, names);
}

const char* nameOfMonth(int month) {
    static constexpr std::array names{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    return nameOf(month, 1, names);
}

std::optional<std::chrono::sys_days> toDay(int year, int month, int day) noexcept {
    using namespace std::chrono;
    if (year < 0 || year > 9999 || month < 1 || month > 12 || day < 1 || day > 31) {
        return std::nullopt;
    }
    const year_month_day date(std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                              std::chrono::day(static_cast<unsigned>(day)));
    return date.ok() ? std::optional(sys_days(date)) : std::nullopt;
}

}  // namespace

CTimeFields::CTimeFields(const CTime& time, FieldType) : m_timeZone(0) {
    using namespace std::chrono;
    if (!time.isSet()) {
        throw CError("Time is not set.");
    }
    constexpr sys_days begin(year(0) / January / 1);
    constexpr sys_days end(year(10000) / January / 1);
    if (time.getMicroseconds() < microseconds(begin.time_since_epoch()).count() ||
        time.getMicroseconds() >= microseconds(end.time_since_epoch()).count()) {
        throw CError("Time is outside the years 0 to 9999.");
    }
    const microseconds sinceEpoch(time.getMicroseconds());
    const auto day = floor<days>(sinceEpoch);
    const year_month_day date{sys_days(day)};
    const hh_mm_ss clock(sinceEpoch - day);
    m_year = static_cast<int>(date.year());
    m_month = static_cast<int>(static_cast<unsigned>(date.month()));
    m_day = static_cast<int>(static_cast<unsigned>(date.day()));
    m_weekDay = static_cast<int>(weekday(sys_days(day)).c_encoding());
    m_hour = static_cast<int>(clock.hours().count());
    m_minute = static_cast<int>(clock.minutes().count());
    m_second = static_cast<int>(clock.seconds().count());
    m_microsecond = static_cast<int>(clock.subseconds().count());
}

void CTimeFields::setDate(int year, int month, int day, int weekDay) noexcept {
    m_year = year;
    m_month = month;
    m_day = day;
    m_weekDay = weekDay;
}

void CTimeFields::setTime(int hour, int minute, int second) noexcept {
    m_hour = hour;
    m_minute = minute;
    m_second = second;
    m_microsecond = 0;
}

void CTimeFields::setFractSecond(double fraction) noexcept {
    constexpr int microsecondsPerSecond = 1000000;
    // NaN also fails this comparison and becomes 0.
    const double inRange = fraction > 0 ? std::min(fraction, 1.0) : 0.0;
    m_microsecond =
        std::min(static_cast<int>(std::lround(inRange * microsecondsPerSecond)), microsecondsPerSecond - 1);
}

void CTimeFields::setTimeZone(int minutes) {
    if (minutes <= -maxTimeZone || minutes >= maxTimeZone) {
        throw CError("Invalid date/time fields.");
    }
    m_timeZone = minutes;
}

bool CTimeFields::isClockTime() const noexcept {
    return m_hour >= 0 && m_hour <= 23 && m_minute >= 0 && m_minute <= 59 && m_second >= 0 && m_second <= 60;
}

CTime CTimeFields::toTime() const noexcept {
    using namespace std::chrono;
    const auto day = toDay(m_year, m_month, m_day);
    if (!day || !isClockTime()) {
        return CTime();
    }
    const microseconds clock = hours(m_hour) + minutes(m_minute - m_timeZone.value_or(0)) +
                               seconds(m_second) + microseconds(m_microsecond);
    return CTime::fromMicroseconds((microseconds(day->time_since_epoch()) + clock).count());
}

int CTimeFields::getWeekDay() const noexcept {
    if (m_weekDay != -1) {
        return m_weekDay;
    }
    const auto day = toDay(m_year, m_month, m_day);
    return day ? static_cast<int>(std::chrono::weekday(*day).c_encoding()) : -1;
}

String CTimeFields::getInternetTimeZoneString(const String& unknown) const {
    if (!m_timeZone) {
        return unknown;
    }
    const int minutes = std::abs(*m_timeZone);
    return String((*m_timeZone < 0 ? "-" : "+") + padded(minutes / 60, 2) + padded(minutes % 60, 2));
}

String CTimeFields::toInternetTimestamp() const {
    std::string text;
    text.reserve(sizeof "Fri, 24 May 2013 00:00:00 GMT");
    text.append(nameOfWeekDay(getWeekDay())).append(", ").append(padded(m_day, 2));
    text.append(" ").append(nameOfMonth(m_month)).append(" ").append(padded(m_year, 4));
    text.append(" ").append(padded(m_hour, 2)).append(":").append(padded(m_minute, 2));
    text.append(":").append(padded(m_second, 2)).append(" GMT");
    return String(text);
}

String CTimeFields::toISODateTime(int precision) const {
    std::string text;
    text.reserve(sizeof "2013-05-24T00:00:00.000000Z");
    text.append(padded(m_year, 4))
        .append("-")
        .append(padded(m_month, 2))
        .append("-")
        .append(padded(m_day, 2));
    text.append("T").append(padded(m_hour, 2)).append(":").append(padded(m_minute, 2));
    text.append(":").append(padded(m_second, 2));
    if (precision > 0) {
        text += "." + padded(m_microsecond, 6).substr(0, static_cast<std::size_t>(std::min(precision, 6)));
    }
    return String(text + "Z");
}

String CTimeFields::getEnglishWeekDayAbbrev(int weekDay) {
    return nameOfWeekDay(weekDay);
}

String CTimeFields::getEnglishMonthAbbrev(int month) {
    return nameOfMonth(month);
}

}  // namespace zet
