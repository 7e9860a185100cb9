#include "liblogger/utc_offset.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "tests/support/files.h"
#include "tests/support/sanitized.h"
#include "tests/support/temp_folder.h"

static constexpr time_t kHourSeconds = 3600;
static constexpr time_t kYearSeconds = 365 * 24 * kHourSeconds;
static constexpr time_t kNow = 1795210740;  // In November 2026.
static constexpr char kZoneFolder[] = "/usr/share/zoneinfo";

static void SetTimeZone(const char* zone) {
  ASSERT_EQ(zone == nullptr ? unsetenv("TZ") : setenv("TZ", zone, 1), 0);
  tzset();
}

static long SystemOffset(time_t when) {
  tm local = {};
  return localtime_r(&when, &local) != nullptr ? local.tm_gmtoff : -1;
}

static bool HasZones() { return std::filesystem::exists(std::string(kZoneFolder) + "/Europe/Berlin"); }

class UtcOffsetsIn : public testing::TestWithParam<const char*> {};

TEST_P(UtcOffsetsIn, AgreesWithTheSystemInEveryHourOfFortyYears) {
  SetTimeZone(GetParam());
  UtcOffsets offsets;
  offsets.Learn(kNow);
  for (time_t when = kNow - kYearSeconds; when < kNow + 40 * kYearSeconds; when += kHourSeconds) {
    ASSERT_EQ(offsets.At(when), SystemOffset(when)) << when;
  }
}

// POSIX rules need no time zone files: Central Europe, the northern and southern edges, half an hour of daylight
// saving, no daylight saving, and negative daylight saving. The others have changes that follow no rule.
INSTANTIATE_TEST_SUITE_P(Zones, UtcOffsetsIn,
                         testing::Values("CET-1CEST,M3.5.0,M10.5.0/3", "EST5EDT,M3.2.0,M11.1.0", "EST5EDT",
                                         "<+1245>-12:45<+1345>,M9.5.0/2:45,M4.1.0/3:45",
                                         "<+1030>-10:30<+11>-11,M10.1.0,M4.1.0", "UTC0", "<+0545>-5:45",
                                         "IST-1GMT0,M10.5.0,M3.5.0/1", "AAA0BBB,J60,J300", "AAA0BBB,60/26,300/-5",
                                         ":Europe/Berlin", "Africa/Casablanca", "Asia/Gaza", "America/Nuuk", "", ":",
                                         "no/such zone", "/etc/localtime"));

TEST(UtcOffsets, AgreesWithTheSystemInTheMachinesZone) {
  SetTimeZone(nullptr);
  UtcOffsets offsets;
  offsets.Learn(kNow);
  for (time_t when = kNow; when < kNow + 2 * kYearSeconds; when += kHourSeconds) {
    ASSERT_EQ(offsets.At(when), SystemOffset(when)) << when;
  }
}

TEST(UtcOffsets, AgreesWithTheSystemInEveryZoneOfTheWorld) {
  if (!HasZones()) GTEST_SKIP() << "no time zone files in " << kZoneFolder;
  std::set<std::string> zones;  // What is in their files: many a zone has several names.
  for (const auto& entry : std::filesystem::recursive_directory_iterator(kZoneFolder)) {
    const std::string zone = entry.path().lexically_relative(kZoneFolder).string();
    if (!entry.is_regular_file() || zone.find("right/") == 0) continue;
    const std::string content = ReadFile(entry.path());
    if (content.substr(0, 4) != "TZif" || !zones.insert(content).second) continue;
    SetTimeZone(zone.c_str());
    UtcOffsets offsets;
    offsets.Learn(kNow);
    // Not a whole number of hours, so that every time of day is met.
    for (time_t when = kNow - 40 * kYearSeconds; when < kNow + 400 * kYearSeconds;
         when += (kSanitized ? 90 : 27) * 24 * kHourSeconds + 5003) {
      ASSERT_EQ(offsets.At(when), SystemOffset(when)) << zone << " " << when;
    }
  }
  EXPECT_GT(zones.size(), 300U);
}

TEST(UtcOffsets, ChangesInTheSecondThatTheSystemChanges) {
  SetTimeZone("CET-1CEST,M3.5.0,M10.5.0/3");
  UtcOffsets offsets;
  offsets.Learn(kNow);
  const time_t summer_2027 = 1806195600;  // 2027-03-28 01:00:00 UTC
  const time_t winter_2027 = 1824944400;  // 2027-10-31 01:00:00 UTC
  EXPECT_EQ(offsets.At(summer_2027 - 1), 3600);
  EXPECT_EQ(offsets.At(summer_2027), 7200);
  EXPECT_EQ(offsets.At(winter_2027 - 1), 7200);
  EXPECT_EQ(offsets.At(winter_2027), 3600);
}

TEST(UtcOffsets, RefusesAFileThatIsDamagedAnywhere) {
  if (!HasZones()) GTEST_SKIP() << "no time zone files in " << kZoneFolder;
  const std::string whole = ReadFile(std::string(kZoneFolder) + "/Europe/Berlin");
  const size_t rule_bytes = whole.size() - whole.rfind('\n', whole.size() - 2);
  for (size_t size = 0; size < whole.size() - rule_bytes; ++size) {
    const std::vector<char> part(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size));
    UtcOffsets offsets;
    ASSERT_FALSE(offsets.ReadFile(part.data(), part.size())) << size << " bytes";
  }
  UtcOffsets offsets;
  EXPECT_TRUE(offsets.ReadFile(whole.data(), whole.size()));
}

TEST(UtcOffsets, HoldsTheSystemsOffsetWhereTheFileSaysAnother) {
  if (!HasZones()) GTEST_SKIP() << "no time zone files in " << kZoneFolder;
  const TempFolder temp;
  const std::string zone = temp.path() + "/zone";
  WriteFile(zone, ReadFile(std::string(kZoneFolder) + "/Europe/Berlin"));
  SetTimeZone(zone.c_str());
  WriteFile(zone, ReadFile(std::string(kZoneFolder) + "/America/New_York"));  // The C library may not look again.
  UtcOffsets offsets;
  offsets.Learn(kNow);
  EXPECT_EQ(offsets.At(kNow), SystemOffset(kNow));
}
