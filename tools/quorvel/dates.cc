#include "quorvel/dates.h"

#include <cmath>
#include <cstdio>

namespace cli {

std::string dateText(double date) {
  long long seconds = std::llround(date * 86400);
  long long days = seconds / 86400;
  seconds %= 86400;
  if (seconds < 0) {
    seconds += 86400;
    --days;
  }
  // The civil calendar from a day number, by eras of 400 years that begin on 1 March.
  const long long z = days + 693899;
  const long long era = (z >= 0 ? z : z - 146096) / 146097;
  const long long dayOfEra = z - era * 146097;
  const long long yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const long long dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const long long march = (5 * dayOfYear + 2) / 153;
  const long long day = dayOfYear - (153 * march + 2) / 5 + 1;
  const long long month = march < 10 ? march + 3 : march - 9;
  const long long year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
  char text[120];
  std::snprintf(text, sizeof text, "%04lld-%02lld-%02lld %02lld:%02lld:%02lld", year, month, day,
                seconds / 3600, seconds / 60 % 60, seconds % 60);
  return text;
}

}  // namespace cli
