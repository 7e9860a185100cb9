#include "launcherctl/time_argument.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "launcherctl/clock_text.h"

// Central Europe's rules, whatever the machine has: clocks go back on 25 October 2026 at 03:00.
class TimeArgument : public testing::Test {
 protected:
  TimeArgument() {
    (void)setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    tzset();
  }
  ~TimeArgument() override {
    (void)unsetenv("TZ");
    tzset();
  }

  // The time that is meant, as text; "none" if none is.
  static std::string Read(const std::string& text, int64_t now_ms = kNowMs) {
    const auto time_ms = ReadTimeArgument(text, now_ms);
    return time_ms ? Rfc3339(*time_ms) : "none";
  }

  static constexpr int64_t kNowMs = 1795249868250;  // 2026-11-21T09:31:08.250+01:00
};

TEST_F(TimeArgument, ReadsDurationsBackFromNow) {
  EXPECT_EQ(Read("90s"), "2026-11-21T09:29:38.250+01:00");
  EXPECT_EQ(Read("15m"), "2026-11-21T09:16:08.250+01:00");
  EXPECT_EQ(Read("3h"), "2026-11-21T06:31:08.250+01:00");
  EXPECT_EQ(Read("2d"), "2026-11-19T09:31:08.250+01:00");
}

TEST_F(TimeArgument, ReadsATimeOfDayAsTheLastOneOfThatKind) {
  EXPECT_EQ(Read("02:00"), "2026-11-21T02:00:00.000+01:00");
  EXPECT_EQ(Read("09:31:08"), "2026-11-21T09:31:08.000+01:00");
  EXPECT_EQ(Read("22:15"), "2026-11-20T22:15:00.000+01:00");
}

TEST_F(TimeArgument, ReadsDaysByName) {
  EXPECT_EQ(Read("today"), "2026-11-21T00:00:00.000+01:00");
  EXPECT_EQ(Read("yesterday"), "2026-11-20T00:00:00.000+01:00");
}

TEST_F(TimeArgument, CountsDaysAcrossAChangeOfTheOffset) {
  constexpr int64_t kMondayMs = 1792969200000;  // 2026-10-26T00:00:00+01:00
  EXPECT_EQ(Read("yesterday", kMondayMs), "2026-10-25T00:00:00.000+02:00");
  EXPECT_EQ(Read("02:00", kMondayMs - 1000).substr(0, 16), "2026-10-25T02:00");
}

TEST_F(TimeArgument, ReadsRfc3339WithAndWithoutItsParts) {
  EXPECT_EQ(Read("2026-11-21T02:00:00+01:00"), "2026-11-21T02:00:00.000+01:00");
  EXPECT_EQ(Read("2026-11-21T02:00:00.5Z"), "2026-11-21T03:00:00.000+01:00");
  EXPECT_EQ(Read("2026-07-01T12:00"), "2026-07-01T12:00:00.000+02:00");
  EXPECT_EQ(Read("2026-11-20"), "2026-11-20T00:00:00.000+01:00");
}

TEST_F(TimeArgument, RefusesEverythingElse) {
  for (const char* text : {"", "h", "3", "3x", "-3h", "3h ", "25:00", "02:60", "2:", "tomorrow", "2026-13-01",
                           "2026-11-21T", "2026-11-21T02:00:00+1", "2026-11-21T02:00:00Zx", "99999999999h"}) {
    EXPECT_EQ(Read(text), "none") << text;
  }
}
