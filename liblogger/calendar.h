// The proleptic Gregorian calendar by arithmetic, because the C library's time functions take a lock, which a forked
// child may find held for ever.
#pragma once

#include <cstdint>

static constexpr int64_t kDaySeconds = 86400;

struct Date {
  int64_t year;
  uint32_t month;  // 1 to 12
  uint32_t day;    // 1 to 31
};

// The day's number, counted from 1970-01-01, and back.
int64_t DaysFromDate(const Date& date);
Date DateFromDays(int64_t days);

// The number of the day that holds a second counted from 1970-01-01 00:00; days begin at midnight before 1970, too.
int64_t DaysFromSeconds(int64_t seconds);
