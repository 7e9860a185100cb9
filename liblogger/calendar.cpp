#include "liblogger/calendar.h"

// The calendar repeats after an era of 400 years. Eras, and years within them, begin on the first of March here, so
// that a leap day is the last one of its year; the first era begins on 0000-03-01.
static constexpr int64_t kEraYears = 400;
static constexpr int64_t kEraDays = 146097;
static constexpr int64_t kFirstEraTo1970Days = 719468;
static constexpr uint32_t kYearDays = 365;
static constexpr uint32_t kFourYearsDays = 4 * kYearDays + 1;      // With the leap day of the last.
static constexpr uint32_t kCenturyDays = 25 * kFourYearsDays - 1;  // The last year of a century has none,
static constexpr uint32_t kLastDayOfEra = 4 * kCenturyDays;        // but that of an era has one.

// From March on, the months have 31, 30, 31, 30 and 31 days, time and again: 153 days in five months.
static constexpr uint32_t kFiveMonthsDays = 153;

static int64_t DivideDown(int64_t number, int64_t divisor) {
  return (number >= 0 ? number : number - (divisor - 1)) / divisor;
}

int64_t DaysFromSeconds(int64_t seconds) { return DivideDown(seconds, kDaySeconds); }

int64_t DaysFromDate(const Date& date) {
  const int64_t march_year = date.year - (date.month <= 2 ? 1 : 0);
  const int64_t era = DivideDown(march_year, kEraYears);
  const auto year_of_era = static_cast<uint32_t>(march_year - era * kEraYears);
  const uint32_t march_month = date.month > 2 ? date.month - 3 : date.month + 9;
  const uint32_t day_of_year = (kFiveMonthsDays * march_month + 2) / 5 + date.day - 1;
  const uint32_t day_of_era = year_of_era * kYearDays + year_of_era / 4 - year_of_era / 100 + day_of_year;
  return era * kEraDays + day_of_era - kFirstEraTo1970Days;
}

Date DateFromDays(int64_t days) {
  const int64_t since_first_era = days + kFirstEraTo1970Days;
  const int64_t era = DivideDown(since_first_era, kEraDays);
  const auto day_of_era = static_cast<uint32_t>(since_first_era - era * kEraDays);
  // Without the leap days before it, the day tells its year.
  const uint32_t leap_days = day_of_era / (kFourYearsDays - 1) - day_of_era / kCenturyDays + day_of_era / kLastDayOfEra;
  const uint32_t year_of_era = (day_of_era - leap_days) / kYearDays;
  const uint32_t day_of_year = day_of_era - (kYearDays * year_of_era + year_of_era / 4 - year_of_era / 100);
  const uint32_t march_month = (5 * day_of_year + 2) / kFiveMonthsDays;
  Date date = {};
  date.day = day_of_year - (kFiveMonthsDays * march_month + 2) / 5 + 1;
  date.month = march_month < 10 ? march_month + 3 : march_month - 9;
  date.year = era * kEraYears + year_of_era + (date.month <= 2 ? 1 : 0);
  return date;
}
