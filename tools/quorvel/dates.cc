#include "quorvel/dates.h"

#include <cmath>
#include <cstddef>
#include <cstdio>

namespace cli {

namespace {

struct Civil {
  long long year, month, day, seconds;  ///< months and days from 1; seconds of the day
  std::size_t weekday;                  ///< Sunday is 0
};

/// The civil calendar from a day number, by eras of 400 years that begin on 1 March.
Civil civilOf(double date) {
  long long seconds = std::llround(date * 86400);
  long long days = seconds / 86400;
  seconds %= 86400;
  if (seconds < 0) {
    seconds += 86400;
    --days;
  }
  const long long z = days + 693899;
  const long long era = (z >= 0 ? z : z - 146096) / 146097;
  const long long dayOfEra = z - era * 146097;
  const long long yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const long long dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const long long march = (5 * dayOfYear + 2) / 153;
  const long long day = dayOfYear - (153 * march + 2) / 5 + 1;
  const long long month = march < 10 ? march + 3 : march - 9;
  const long long year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
  const long long weekday = ((days + 6) % 7 + 7) % 7;  // day 0 was a Saturday
  return {year, month, day, seconds, static_cast<std::size_t>(weekday)};
}

}  // namespace

std::string dateText(double date) {
  const Civil civil = civilOf(date);
  char text[120];
  std::snprintf(text, sizeof text, "%04lld-%02lld-%02lld %02lld:%02lld:%02lld", civil.year, civil.month,
                civil.day, civil.seconds / 3600, civil.seconds / 60 % 60, civil.seconds % 60);
  return text;
}

std::string mailboxDate(double date) {
  constexpr const char* kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                     "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const Civil civil = civilOf(date);
  char text[120];
  std::snprintf(text, sizeof text, "%s %s %2lld %02lld:%02lld:%02lld %04lld", kDays[civil.weekday],
                kMonths[civil.month - 1], civil.day, civil.seconds / 3600, civil.seconds / 60 % 60,
                civil.seconds % 60, civil.year);
  return text;
}

}  // namespace cli
