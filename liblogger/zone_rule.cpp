#include "liblogger/zone_rule.h"

#include "liblogger/calendar.h"

static constexpr long kHourSeconds = 3600;
static constexpr long kMinuteSeconds = 60;

static bool IsDigit(char c) { return c >= '0' && c <= '9'; }
static bool IsLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

// Reads a rule from left to right. Each function takes its part, or returns false.
class ZoneRuleReader {
 public:
  explicit ZoneRuleReader(const char* text) : rest(text) {}

  bool Read(ZoneRule& rule) {
    if (!SkipName() || !ReadOffset(rule.standard_seconds)) return false;
    if (*rest == '\0') return true;
    rule.has_daylight = true;
    rule.daylight_seconds = rule.standard_seconds + kHourSeconds;
    if (!SkipName()) return false;
    if (*rest != ',' && *rest != '\0' && !ReadOffset(rule.daylight_seconds)) return false;
    if (*rest == '\0') rest = ",M3.2.0,M11.1.0";  // What the system takes when the days are missing.
    return ReadChange(rule.daylight_begins) && ReadChange(rule.standard_begins) && *rest == '\0';
  }

 private:
  bool Skip(char wanted) {
    if (*rest != wanted) return false;
    ++rest;
    return true;
  }

  // At least three letters, or anything between < and >.
  bool SkipName() {
    const char* const start = rest;
    if (Skip('<')) {
      while (IsLetter(*rest) || IsDigit(*rest) || *rest == '+' || *rest == '-') ++rest;
      return rest - start > 3 && Skip('>');
    }
    while (IsLetter(*rest)) ++rest;
    return rest - start >= 3;
  }

  bool ReadNumber(uint32_t least, uint32_t most, uint32_t& number) {
    if (!IsDigit(*rest)) return false;
    number = 0;
    for (; IsDigit(*rest) && number <= most; ++rest) number = number * 10 + static_cast<uint32_t>(*rest - '0');
    return number >= least && number <= most;
  }

  // Hours, and perhaps minutes and seconds, with a sign.
  bool ReadTime(uint32_t most_hours, long& seconds) {
    const bool is_negative = *rest == '-';
    if (is_negative || *rest == '+') ++rest;
    uint32_t hours = 0;
    uint32_t minutes = 0;
    uint32_t rest_seconds = 0;
    if (!ReadNumber(0, most_hours, hours)) return false;
    if (Skip(':') && !ReadNumber(0, 59, minutes)) return false;
    if (Skip(':') && !ReadNumber(0, 59, rest_seconds)) return false;
    seconds = static_cast<long>(hours) * kHourSeconds + static_cast<long>(minutes) * kMinuteSeconds +
              static_cast<long>(rest_seconds);
    if (is_negative) seconds = -seconds;
    return true;
  }

  // Rules count westwards.
  bool ReadOffset(long& seconds) {
    if (!ReadTime(24, seconds)) return false;
    seconds = -seconds;
    return true;
  }

  bool ReadChange(ZoneRule::Change& change) {
    if (!Skip(',')) return false;
    change.seconds = 2 * kHourSeconds;
    if (Skip('M')) {
      change.kind = ZoneRule::DayKind::kMonthAndWeekday;
      if (!ReadNumber(1, 12, change.month) || !Skip('.') || !ReadNumber(1, 5, change.week) || !Skip('.') ||
          !ReadNumber(0, 6, change.weekday)) {
        return false;
      }
    } else if (Skip('J')) {
      change.kind = ZoneRule::DayKind::kWithoutLeapDay;
      if (!ReadNumber(1, 365, change.day)) return false;
    } else if (!ReadNumber(0, 365, change.day)) {
      return false;
    }
    constexpr uint32_t kMostHours = 167;  // A week less an hour.
    return !Skip('/') || ReadTime(kMostHours, change.seconds);
  }

  const char* rest;
};

bool ZoneRule::Parse(const char* text) {
  ZoneRule read;
  if (!ZoneRuleReader(text).Read(read)) return false;
  *this = read;
  return true;
}

long ZoneRule::OffsetAt(int64_t when) const {
  if (!has_daylight) return standard_seconds;
  const int64_t year = DateFromDays(DaysFromSeconds(when + standard_seconds)).year;
  const int64_t daylight = LocalSeconds(daylight_begins, year) - standard_seconds;
  const int64_t standard = LocalSeconds(standard_begins, year) - daylight_seconds;
  // South of the equator daylight saving time lasts over the end of the year.
  const bool is_daylight =
      daylight < standard ? daylight <= when && when < standard : when < standard || daylight <= when;
  return is_daylight ? daylight_seconds : standard_seconds;
}

// The local time of the change in that year, counted as if it were UTC.
int64_t ZoneRule::LocalSeconds(const Change& change, int64_t year) {
  constexpr int64_t kWeekDays = 7;
  int64_t day = 0;
  switch (change.kind) {
    case DayKind::kMonthAndWeekday: {
      constexpr int64_t kWeekdayOf1970 = 4;  // A Thursday
      const int64_t first = DaysFromDate({year, change.month, 1});
      const int64_t next_month =
          change.month < 12 ? DaysFromDate({year, change.month + 1, 1}) : DaysFromDate({year + 1, 1, 1});
      const int64_t weekday_of_first = ((first + kWeekdayOf1970) % kWeekDays + kWeekDays) % kWeekDays;
      day = first + (change.weekday - weekday_of_first + kWeekDays) % kWeekDays + (change.week - 1) * kWeekDays;
      while (day >= next_month) day -= kWeekDays;
      break;
    }
    case DayKind::kWithoutLeapDay: {
      constexpr uint32_t kFebruary28 = 59;
      const int64_t first = DaysFromDate({year, 1, 1});
      const bool has_leap_day = DaysFromDate({year, 3, 1}) - first > kFebruary28;
      day = first + change.day - (has_leap_day && change.day > kFebruary28 ? 0 : 1);
      break;
    }
    case DayKind::kWithLeapDay:
      day = DaysFromDate({year, 1, 1}) + change.day;
      break;
  }
  return day * kDaySeconds + change.seconds;
}
