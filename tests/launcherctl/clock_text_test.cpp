#include "launcherctl/clock_text.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <ctime>

static constexpr int64_t kMorning = 1795255868250;  // 2026-11-21 09:31:08.250 UTC

static void UseTimeZone(const char* zone) {
  (void)setenv("TZ", zone, 1);
  tzset();
}

TEST(Rfc3339, IsLocalTimeWithItsOffset) {
  UseTimeZone("UTC0");
  EXPECT_EQ(Rfc3339(kMorning), "2026-11-21T10:11:08.250+00:00");
  UseTimeZone("NST3:30");
  EXPECT_EQ(Rfc3339(kMorning), "2026-11-21T06:41:08.250-03:30");
  UseTimeZone("UTC0");
  EXPECT_EQ(Rfc3339(-1), "1969-12-31T23:59:59.999+00:00");
}

TEST(SpanText, GivesTheTwoUnitsThatCount) {
  const struct {
    int64_t span_ms;
    const char* text;
  } rows[] = {{0, "0 ms"},      {999, "999 ms"},        {1000, "1 s"},           {-59400, "59 s"},
              {59600, "1 min"}, {232000, "3 min 52 s"}, {9000000, "2 h 30 min"}, {352800000, "4 d 2 h"},
              {3600000, "1 h"}};
  for (const auto& row : rows) EXPECT_EQ(SpanText(row.span_ms), row.text);
}

TEST(ClockWithDistance, TellsBothWays) {
  UseTimeZone("UTC0");
  EXPECT_EQ(ClockWithDistance(kMorning, kMorning), "10:11:08, now");
  EXPECT_EQ(ClockWithDistance(kMorning + 6000, kMorning), "10:11:14, in 6 s");
  EXPECT_EQ(ClockWithDistance(kMorning - 185000, kMorning), "10:08:03, 3 min 5 s ago");
  EXPECT_EQ(ClockWithDistance(kMorning - 86400000, kMorning), "20 Nov 10:11:08, 1 d ago");
  EXPECT_EQ(ClockWithDistance(kMorning - 366 * int64_t{86400000}, kMorning), "20 Nov 2025 10:11:08, 366 d ago");
}
