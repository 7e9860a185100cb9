#include "liblogger/utc_offset.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <memory>
#include <string>

static constexpr time_t kHourSeconds = 3600;
static constexpr time_t kYearSeconds = 365 * 24 * kHourSeconds;
static constexpr time_t kNow = 1795210740;  // In November 2026.

static void SetTimeZone(const char* zone) {
  ASSERT_EQ(setenv("TZ", zone, 1), 0);
  tzset();
}

static long SystemOffset(time_t when) {
  tm local = {};
  return localtime_r(&when, &local) != nullptr ? local.tm_gmtoff : -1;
}

class UtcOffsetsIn : public testing::TestWithParam<const char*> {};

TEST_P(UtcOffsetsIn, AgreesWithTheSystemInEveryHourOfFortyYears) {
  SetTimeZone(GetParam());
  const auto offsets = std::make_unique<UtcOffsets>();
  offsets->Learn(kNow);
  for (time_t when = kNow - kYearSeconds; when < kNow + 40 * kYearSeconds; when += kHourSeconds / 2) {
    ASSERT_EQ(offsets->At(when), SystemOffset(when)) << when;
  }
}

// POSIX rules need no time zone files: Central Europe, the northern and southern edges, half an hour of daylight
// saving, no daylight saving, and negative daylight saving.
INSTANTIATE_TEST_SUITE_P(Zones, UtcOffsetsIn,
                         testing::Values("CET-1CEST,M3.5.0,M10.5.0/3", "EST5EDT,M3.2.0,M11.1.0",
                                         "<+1245>-12:45<+1345>,M9.5.0/2:45,M4.1.0/3:45",
                                         "<+1030>-10:30<+11>-11,M10.1.0,M4.1.0", "UTC0", "<+0545>-5:45",
                                         "IST-1GMT0,M10.5.0,M3.5.0/1", "Africa/Casablanca"));

TEST(UtcOffsets, ChangesInTheSecondThatTheSystemChanges) {
  SetTimeZone("CET-1CEST,M3.5.0,M10.5.0/3");
  const auto offsets = std::make_unique<UtcOffsets>();
  offsets->Learn(kNow);
  const time_t summer_2027 = 1806195600;  // 2027-03-28 01:00:00 UTC
  const time_t winter_2027 = 1824944400;  // 2027-10-31 01:00:00 UTC
  EXPECT_EQ(offsets->At(summer_2027 - 1), 3600);
  EXPECT_EQ(offsets->At(summer_2027), 7200);
  EXPECT_EQ(offsets->At(winter_2027 - 1), 7200);
  EXPECT_EQ(offsets->At(winter_2027), 3600);
}

TEST(UtcOffsets, HoldsTheNearestOffsetOutsideTheTable) {
  SetTimeZone("CET-1CEST,M3.5.0,M10.5.0/3");
  const auto offsets = std::make_unique<UtcOffsets>();
  offsets->Learn(kNow);
  EXPECT_EQ(offsets->At(0), offsets->At(kNow - kYearSeconds));
  EXPECT_EQ(offsets->At(kNow + 60 * kYearSeconds), offsets->At(kNow + 40 * kYearSeconds));
}
