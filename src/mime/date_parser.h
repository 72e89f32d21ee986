// Dates of header fields (RFC 822 5) and of the public interface.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/clock.h"

namespace qv {

/// Converts between RFC 822 date texts, calendar times and OLE automation dates (days since 30 December
/// 1899 as a double; for dates before that day the fraction is still a positive time of day).
class DateParser {
 public:
  static constexpr double kMinOleDate = -657434;  ///< 1 January 100
  static constexpr double kMaxOleDate = 2958465;  ///< 31 December 9999

  /// Reads a date text into universal time: "[day name,] day month year hour:minute:second [zone]". False,
  /// and `out` untouched, when it is not a date of the calendar. The day of week is that of the text (0 when
  /// it names none), found anew when the zone moves the date to another day.
  static bool parseRfc822Date(std::string_view text, CalendarTime& out);
  /// False when there is no such date and time.
  static bool calendarToOleDate(std::uint16_t year, std::uint16_t month, std::uint16_t day,
                                std::uint16_t hour, std::uint16_t minute, std::uint16_t second, double& out);
  static bool calendarToOleDate(const CalendarTime& time, double& out);
  /// To the nearest second. False beyond kMinOleDate and kMaxOleDate.
  static bool oleDateToCalendar(double oleDate, CalendarTime& out);
  /// As `oleDateToCalendar`; the current universal time where that fails.
  static void oleDateToCalendarOrNow(double oleDate, CalendarTime& out);
  /// The current local time with its zone, as "Tue, 05 Nov 2002 14:03:09 -0500".
  static std::string makeCurrentDate();
};

}  // namespace qv
