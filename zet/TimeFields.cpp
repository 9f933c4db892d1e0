#include "zet/TimeFields.h"

#include "zet/Error.h"

#include <algorithm>
#include <array>
#include <chrono>

namespace zet {

namespace {

String padded(int value, std::size_t digits) {
    std::wstring text(String::fromInt(value).view());
    if (text.size() < digits) {
        text.insert(0, digits - text.size(), L'0');
    }
    return String(std::move(text));
}

template <std::size_t Count>
String nameOf(int number, int first, const std::array<const char*, Count>& names) {
    if (number < first || number - first >= static_cast<int>(Count)) {
        throw CError("Invalid date/time fields.");
    }
    return names[static_cast<std::size_t>(number - first)];
}

}  // namespace

CTimeFields::CTimeFields(const CTime& time, FieldType) {
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

String CTimeFields::toInternetTimestamp() const {
    return getEnglishWeekDayAbbrev(m_weekDay) + ", " + padded(m_day, 2) + " " +
           getEnglishMonthAbbrev(m_month) + " " + padded(m_year, 4) + " " + padded(m_hour, 2) + ":" +
           padded(m_minute, 2) + ":" + padded(m_second, 2) + " GMT";
}

String CTimeFields::toISODateTime(int precision) const {
    String text = padded(m_year, 4) + "-" + padded(m_month, 2) + "-" + padded(m_day, 2) + "T" +
                  padded(m_hour, 2) + ":" + padded(m_minute, 2) + ":" + padded(m_second, 2);
    if (precision > 0) {
        text += "." + padded(m_microsecond, 6).substr(0, static_cast<std::size_t>(std::min(precision, 6)));
    }
    return text + "Z";
}

String CTimeFields::getEnglishWeekDayAbbrev(int weekDay) {
    static constexpr std::array names{"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    return nameOf(weekDay, 0, names);
}

String CTimeFields::getEnglishMonthAbbrev(int month) {
    static constexpr std::array names{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    return nameOf(month, 1, names);
}

}  // namespace zet
