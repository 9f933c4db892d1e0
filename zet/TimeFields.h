#pragma once

#include "zet/Export.h"
#include "zet/String.h"
#include "zet/Time.h"

#include <optional>

namespace zet {

/// A point in time as date and clock time (proleptic Gregorian), in UTC or in a time zone with a fixed
/// distance from it. A plain value.
///
/// The setters take any numbers; toTime() checks them. Texts are English and independent of the locale.
class ZET_API CTimeFields {
public:
    /// The time zone of the fields.
    enum FieldType {
        FieldTypeUTC = 1,  ///< UTC
    };

    /// 1970-01-01 00:00:00; the day of the week and the time zone are unknown.
    CTimeFields() noexcept = default;
    /// \throws CError "Time is not set." or "Time is outside the years 0 to 9999."
    explicit CTimeFields(const CTime& time, FieldType type = FieldTypeUTC);

    /// \param weekDay  0 (Sunday) to 6; -1 for unknown
    void setDate(int year, int month, int day, int weekDay = -1) noexcept;
    /// Also sets the fraction of the second to 0.
    void setTime(int hour, int minute, int second) noexcept;
    /// Sets the microseconds as a fraction of a second. Values outside 0 to 0.999999 become the nearest of
    /// the two.
    void setFractSecond(double fraction) noexcept;
    /// The fields are in a time zone this many minutes ahead of UTC (east of Greenwich; negative: west).
    /// \throws CError "Invalid date/time fields." for 100 hours and more
    void setTimeZone(int minutes);

    /// The point in time. The fields are UTC if no time zone is set. Not set if the date or the clock time
    /// does not exist. A second of 60 (a leap second) is the first one of the next minute.
    [[nodiscard]] CTime toTime() const noexcept;

    [[nodiscard]] int getYear() const noexcept { return m_year; }    ///< 0 (1 BC) to 9999
    [[nodiscard]] int getMonth() const noexcept { return m_month; }  ///< 1 to 12
    [[nodiscard]] int getDay() const noexcept { return m_day; }      ///< 1 to 31
    /// 0 (Sunday) to 6: the one that was set, otherwise the one of the date; -1 if the date does not exist.
    [[nodiscard]] int getWeekDay() const noexcept;
    [[nodiscard]] int getHour() const noexcept { return m_hour; }                ///< 0 to 23
    [[nodiscard]] int getMinute() const noexcept { return m_minute; }            ///< 0 to 59
    [[nodiscard]] int getSecond() const noexcept { return m_second; }            ///< 0 to 59
    [[nodiscard]] int getMicrosecond() const noexcept { return m_microsecond; }  ///< 0 to 999999

    /// The form of RFC 1123 that HTTP uses (RFC 9110, 5.6.7): "Tue, 03 Mar 2020 07:05:09 GMT".
    [[nodiscard]] String toInternetTimestamp() const;
    /// The form of ISO 8601 in UTC: "2020-03-03T07:05:09.123Z".
    /// \param precision  digits after the full stop, 0 (no full stop) to 6; the rest is cut, not rounded
    [[nodiscard]] String toISODateTime(int precision) const;

    /// Hours and minutes ahead of UTC in the form of mail (RFC 5322, 3.3): "+0100", "-0330".
    /// \param unknown  the result if no time zone is set; fields in UTC have "+0000"
    [[nodiscard]] String getInternetTimeZoneString(const String& unknown) const;

    /// "Sun" for 0 to "Sat" for 6; every other number is a CError "Invalid date/time fields.".
    [[nodiscard]] static String getEnglishWeekDayAbbrev(int weekDay);
    /// "Jan" for 1 to "Dec" for 12; every other number is a CError "Invalid date/time fields.".
    [[nodiscard]] static String getEnglishMonthAbbrev(int month);

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
