#pragma once

#include "zet/Export.h"
#include "zet/String.h"
#include "zet/Time.h"

namespace zet {

/// A point in time broken down into calendar and clock (proleptic Gregorian). A plain value.
///
/// Texts are English and independent of the locale.
class ZET_API CTimeFields {
public:
    /// Whose calendar and clock the fields are.
    enum FieldType {
        FieldTypeUTC = 1,  ///< the fields are those of UTC
    };

    /// Throws a CError "Time is not set." for a time that is not, and "Time is outside the years 0 to 9999."
    /// for one whose year the texts below have no room for.
    explicit CTimeFields(const CTime& time, FieldType type = FieldTypeUTC);

    int getYear() const noexcept { return m_year; }                ///< 0 (1 BC) to 9999
    int getMonth() const noexcept { return m_month; }              ///< 1 to 12
    int getDay() const noexcept { return m_day; }                  ///< 1 to 31
    int getWeekDay() const noexcept { return m_weekDay; }          ///< 0 (Sunday) to 6
    int getHour() const noexcept { return m_hour; }                ///< 0 to 23
    int getMinute() const noexcept { return m_minute; }            ///< 0 to 59
    int getSecond() const noexcept { return m_second; }            ///< 0 to 59
    int getMicrosecond() const noexcept { return m_microsecond; }  ///< 0 to 999999

    /// RFC 1123 form as HTTP writes it (RFC 9110, 5.6.7): "Tue, 03 Mar 2020 07:05:09 GMT".
    String toInternetTimestamp() const;
    /// ISO 8601 form in UTC: "2020-03-03T07:05:09.123Z".
    /// \param precision  digits behind the full stop, 0 (no full stop) to 6, cut and not rounded
    String toISODateTime(int precision) const;

    /// "Sun" for 0 to "Sat" for 6; anything else is a CError "Invalid date/time fields.".
    static String getEnglishWeekDayAbbrev(int weekDay);
    /// "Jan" for 1 to "Dec" for 12; anything else is a CError "Invalid date/time fields.".
    static String getEnglishMonthAbbrev(int month);

private:
    int m_year;
    int m_month;
    int m_day;
    int m_weekDay;
    int m_hour;
    int m_minute;
    int m_second;
    int m_microsecond;
};

}  // namespace zet
