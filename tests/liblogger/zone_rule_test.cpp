#include "liblogger/zone_rule.h"

#include <gtest/gtest.h>

TEST(ZoneRule, HoldsOneOffsetWithoutDaylightSaving) {
  const struct {
    const char* text;
    long offset;
  } rows[] = {
      {"UTC0", 0},         {"EST5", -18000}, {"JST-9", 32400}, {"<+0545>-5:45", 20700}, {"<-0330>+3:30", -12600},
      {"LMT0:01:15", -75}, {"Etc24", -86400}};
  for (const auto& row : rows) {
    ZoneRule rule;
    ASSERT_TRUE(rule.Parse(row.text)) << row.text;
    EXPECT_EQ(rule.OffsetAt(1795210740), row.offset) << row.text;
  }
}

TEST(ZoneRule, ChangesInTheSecondThatItSays) {
  const struct {
    const char* what;
    const char* text;
    int64_t change;  // To daylight saving time
    long before;
    long after;
  } rows[] = {
      {"the last Sunday of March", "CET-1CEST,M3.5.0,M10.5.0/3", 1806195600, 3600, 7200},
      {"the second Sunday of March", "EST5EDT,M3.2.0,M11.1.0", 1805007600, -18000, -14400},
      {"the days that are taken without any", "EST5EDT", 1805007600, -18000, -14400},
      {"a day and an hour before it", "<-02>2<-01>,M3.5.0/-1,M10.5.0/0", 1806195600, -7200, -3600},
      {"half an hour", "<+1030>-10:30<+11>-11,M10.1.0,M4.1.0", 1822491000, 37800, 39600},
      {"day 60, not counting the leap day", "AAA0BBB,J60,J300", 1835488800, 0, 3600},  // 2028-03-01 02:00
      {"day 60, counted from 0", "AAA0BBB,60,300", 1835488800, 0, 3600},
  };
  for (const auto& row : rows) {
    ZoneRule rule;
    ASSERT_TRUE(rule.Parse(row.text)) << row.what;
    EXPECT_EQ(rule.OffsetAt(row.change - 1), row.before) << row.what;
    EXPECT_EQ(rule.OffsetAt(row.change), row.after) << row.what;
  }
}

TEST(ZoneRule, HoldsDaylightSavingTimeForAWholeYear) {
  ZoneRule rule;
  ASSERT_TRUE(rule.Parse("AAA3BBB,0/0,J365/25"));
  for (int64_t when = 1767225600; when < 1830297600; when += 1800) ASSERT_EQ(rule.OffsetAt(when), -7200) << when;
}

TEST(ZoneRule, RefusesWhatIsNotARuleAsAWhole) {
  ZoneRule rule;
  ASSERT_TRUE(rule.Parse("JST-9"));
  for (const char* text : {"",
                           "A",
                           "AB1",
                           "CET",
                           "CET-",
                           "CET-1x",
                           "<CET-1",
                           "<>1",
                           "CET-25",
                           "CET-1:60",
                           "CET-1CEST,",
                           "CET-1CEST,M3.5.0",
                           "CET-1CEST,M0.5.0,M10.5.0",
                           "CET-1CEST,M13.5.0,M10.5.0",
                           "CET-1CEST,M3.6.0,M10.5.0",
                           "CET-1CEST,M3.5.7,M10.5.0",
                           "CET-1CEST,J0,J5",
                           "CET-1CEST,J366,J5",
                           "CET-1CEST,366,5",
                           "CET-1CEST,M3.5.0/168,M10.5.0",
                           "CET-1CEST,M3.5.0,M10.5.0,",
                           "Europe/Berlin",
                           "CET-99999999999999999999"}) {
    EXPECT_FALSE(rule.Parse(text)) << text;
    EXPECT_EQ(rule.OffsetAt(0), 32400) << text;
  }
}
