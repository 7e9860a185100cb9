#include "common/system/identity.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <cstring>
#include <set>

#include "tests/support/probe.h"

TEST(GetUserName, IsTheRealUsersLoginName) {
  const passwd* const user = getpwuid(getuid());
  const std::string expected = user != nullptr ? user->pw_name : "";  // The next call overwrites the entry.
  EXPECT_EQ(GetUserName(), expected);
}

TEST(GetUserName, AsksTheUserDatabaseOnly) {
  EXPECT_EQ(RunProbe(SYSTEM_PROBE, {{"PROBE_LOGIN", "u"}, {"USER", "x"}, {"LOGNAME", "x"}}).at("GetUserName"), "u");
  EXPECT_EQ(RunProbe(SYSTEM_PROBE, {{"USER", "x"}, {"LOGNAME", "x"}}).at("GetUserName"), "");
}

TEST(NewUUID, HasTheFormOfARandomUuid) {
  for (int i = 0; i < 100; ++i) {
    const std::string uuid = NewUUID();
    ASSERT_EQ(uuid.size(), 36U) << uuid;
    for (size_t position = 0; position < uuid.size(); ++position) {
      if (position == 8 || position == 13 || position == 18 || position == 23) {
        EXPECT_EQ(uuid[position], '-') << uuid;
      } else {
        EXPECT_NE(strchr("0123456789abcdefABCDEF", uuid[position]), nullptr) << uuid;
      }
    }
    EXPECT_EQ(uuid[14], '4') << uuid;  // The version: random.
    EXPECT_NE(strchr("89abAB", uuid[19]), nullptr) << uuid;
  }
}

TEST(NewUUID, DiffersOnEachCall) {
  std::set<std::string> uuids;
  for (int i = 0; i < 1000; ++i) uuids.insert(NewUUID());
  EXPECT_EQ(uuids.size(), 1000U);
}
