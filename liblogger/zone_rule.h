// The rule by which a time zone changes its offset from UTC year by year.
#pragma once

#include <cstdint>

// A rule as the variable TZ and the last line of a time zone's file have it, such as "CET-1CEST,M3.5.0,M10.5.0/3": one
// offset, or two with the days of the year on which they change. Answers without the C library, whose time-zone
// functions take a lock; safe after `fork`.
class ZoneRule {
 public:
  // Reads a rule. Returns false, and stays as it was, if `text` is not one as a whole.
  bool Parse(const char* text);

  // The seconds that local time is ahead of UTC at `when`, in seconds since 1970. 0 before a rule was read.
  long OffsetAt(int64_t when) const;

 private:
  friend class ZoneRuleReader;

  enum class DayKind { kMonthAndWeekday, kWithoutLeapDay, kWithLeapDay };

  // When one of the offsets begins to hold, in each year.
  struct Change {
    DayKind kind = DayKind::kWithLeapDay;
    uint32_t month = 0;    // 1 to 12
    uint32_t week = 0;     // 1 to 5, the weekday's place in the month; 5 is the last one.
    uint32_t weekday = 0;  // From Sunday, 0
    uint32_t day = 0;      // From 1 without the leap day, from 0 with it.
    long seconds = 0;      // Local time on that day, before the change; may lie outside of it.
  };

  static int64_t LocalSeconds(const Change& change, int64_t year);

  long standard_seconds = 0;
  long daylight_seconds = 0;
  bool has_daylight = false;
  Change daylight_begins;
  Change standard_begins;
};
