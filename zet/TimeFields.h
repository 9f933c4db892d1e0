#pragma once

#include "zet/Export.h"
#include "zet/String.h"
#include "zet/Time.h"

#include <optional>

namespace zet {

/// A point in time broken down into calendar and clock (proleptic Gregorian), of UTC or of a time zone that is so
/// many minutes before it. A plain value.
///
/// The setters take any numbers; toTime() tells whether they are a date.
///
/// Texts are English and independent of the locale.
class ZET_API CTimeFields {
public:
    /// Whose calendar and clock the fields are.
    enum FieldType {
        FieldTypeUTC = 1,  ///< the fields are those of UTC
    };

    /// 1970-01-01 00:00:00, the day of the week and the time zone unknown.
    CTimeFields() noexcept = default;
    /// Throws a CError "Time is not set." for a time that is not, and "Time is outside the years 0 to 9999."
    /// for one whose year the texts below have no room for.
    explicit CTimeFields(const CTime& time, FieldType type = FieldTypeUTC);

    /// \param weekDay  0 (Sunday) to 6, -1 for unknown
    void setDate(int year, int month, int day, int weekDay = -1) noexcept;
    /// Also sets the fraction of the second to 0.
    void setTime(int hour, int minute, int second) noexcept;
    /// Microseconds as a fraction of a second, cut to 0 to 0.999999.
    void setFractSecond(double fraction) noexcept;
    /// The fields are those of a time zone so many minutes before UTC (east of Greenwich; negative: west).
    /// \throws CError "Invalid date/time fields." for 100 hours and more
    void setTimeZone(int minutes);

    /// The point in time, UTC where no time zone is set; not set when there is no such date or clock time. A second
    /// of 60 (a leap second) is the next minute's first.
    CTime toTime() const noexcept;

    int getYear() const noexcept { return m_year; }    ///< 0 (1 BC) to 9999
    int getMonth() const noexcept { return m_month; }  ///< 1 to 12
    int getDay() const noexcept { return m_day; }      ///< 1 to 31
    /// 0 (Sunday) to 6: as it was set, else that of the date; -1 when there is no such date.
    int getWeekDay() const noexcept;
    int getHour() const noexcept { return m_hour; }                ///< 0 to 23
    int getMinute() const noexcept { return m_minute; }            ///< 0 to 59
    int getSecond() const noexcept { return m_second; }            ///< 0 to 59
    int getMicrosecond() const noexcept { return m_microsecond; }  ///< 0 to 999999

    /// RFC 1123 form as HTTP writes it (RFC 9110, 5.6.7): "Tue, 03 Mar 2020 07:05:09 GMT".
    String toInternetTimestamp() const;
    /// ISO 8601 form in UTC: "2020-03-03T07:05:09.123Z".
    /// \param precision  digits behind the full stop, 0 (no full stop) to 6, cut and not rounded
    String toISODateTime(int precision) const;

    /// Hours and minutes before UTC as mail writes them (RFC 5322, 3.3): "+0100", "-0330".
    /// \param unknown  the text where no time zone is set; fields of UTC have "+0000"
    String getInternetTimeZoneString(const String& unknown) const;

    /// "Sun" for 0 to "Sat" for 6; anything else is a CError "Invalid date/time fields.".
    static String getEnglishWeekDayAbbrev(int weekDay);
    /// "Jan" for 1 to "Dec" for 12; anything else is a CError "Invalid date/time fields.".
    static String getEnglishMonthAbbrev(int month);

private:
    bool isClockTime() const noexcept;

    int m_year = 1970;
    int m_month = 1;
    int m_day = 1;
    int m_weekDay = -1;
    int m_hour = 0;
    int m_minute = 0;
    int m_second = 0;
    int m_microsecond = 0;
    std::optional<int> m_timeZone;
};

}  // namespace zet
