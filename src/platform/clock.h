// Clock and time zone of the machine.
#pragma once

#include <cstdint>
#include <functional>

namespace qv {

/// A calendar date and time in the layout of the platform's calendar time record.
struct CalendarTime {
  std::uint16_t year = 0;       ///< in full, as 2002
  std::uint16_t month = 0;      ///< 1 to 12
  std::uint16_t dayOfWeek = 0;  ///< 0 is Sunday
  std::uint16_t day = 0;        ///< 1 to 31
  std::uint16_t hour = 0;       ///< 0 to 23
  std::uint16_t minute = 0;     ///< 0 to 59
  std::uint16_t second = 0;     ///< 0 to 59
  std::uint16_t milliseconds = 0;
  bool operator==(const CalendarTime&) const = default;
};

/// The current time in universal time, and in the machine's local time with its bias in minutes
/// (universal time = local time + bias; five hours west of UT is 300), daylight saving included.
CalendarTime universalTimeNow();
struct LocalTime {
  CalendarTime time;
  int biasMinutes = 0;
};
LocalTime localTimeNow();
/// The local time of an instant given in universal time. False when the platform cannot convert it.
bool localFromUniversal(const CalendarTime& universal, CalendarTime& local);

/// The current instant in milliseconds since 1970 in universal time, and the local time of such an instant.
std::int64_t millisecondsSince1970();
LocalTime localTimeAt(std::int64_t millisecondsSince1970);

/// Milliseconds of a clock that never goes back; for measuring only.
std::uint64_t tickMilliseconds();
/// A fast-running counter; only good for telling two moments apart.
std::uint64_t fastCounter();
void sleepMilliseconds(unsigned milliseconds);

/// A test sets the wall clock: seconds since 1970 UT. An empty function gives the machine's clock back. May
/// be called while other threads read the clock.
void setClockForTest(std::function<std::int64_t()> secondsSince1970);

}  // namespace qv
