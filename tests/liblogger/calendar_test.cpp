#include "liblogger/calendar.h"

#include <gtest/gtest.h>

#include <ctime>

TEST(DateFromDays, AgreesWithTheSystemOnEveryDayOfTwelveCenturies) {
  for (int64_t days = -150000; days <= 300000; ++days) {
    const time_t when = static_cast<time_t>(days) * 86400;
    tm expected = {};
    ASSERT_NE(gmtime_r(&when, &expected), nullptr);
    const Date date = DateFromDays(days);
    ASSERT_EQ(date.year, expected.tm_year + 1900) << days;
    ASSERT_EQ(date.month, static_cast<uint32_t>(expected.tm_mon + 1)) << days;
    ASSERT_EQ(date.day, static_cast<uint32_t>(expected.tm_mday)) << days;
  }
}

TEST(DaysFromDate, IsTheWayBack) {
  for (int64_t days = -800000; days <= 800000; ++days) ASSERT_EQ(DaysFromDate(DateFromDays(days)), days);
}

TEST(DaysFromSeconds, BeginsEachDayAtMidnight) {
  const struct {
    int64_t seconds;
    int64_t days;
  } rows[] = {{0, 0}, {86399, 0}, {86400, 1}, {-1, -1}, {-86400, -1}, {-86401, -2}};
  for (const auto& row : rows) EXPECT_EQ(DaysFromSeconds(row.seconds), row.days) << row.seconds;
}
