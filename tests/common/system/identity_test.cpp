#include "common/system/identity.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <set>

#include "tests/support/probe.h"

TEST(GetUserName, IsTheRealUsersLoginName) {
  const passwd* const user = getpwuid(getuid());
  const std::string expected = user != nullptr ? user->pw_name : "";  // The next call overwrites the entry.
  EXPECT_EQ(GetUserName(), expected);
}

TEST(GetUserName, GoesByTheRealUserNotTheEffectiveOne) {
  if (geteuid() != 0) GTEST_SKIP() << "only the superuser can have another real user";
  constexpr uid_t kNobody = 65534;
  constexpr int kCannotBecomeNobody = 2;
  const passwd* const nobody = getpwuid(kNobody);
  const std::string expected = nobody != nullptr ? nobody->pw_name : "";
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    if (setreuid(kNobody, 0) != 0) _exit(kCannotBecomeNobody);
    _exit(GetUserName() == expected ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status)) << status;
  if (WEXITSTATUS(status) == kCannotBecomeNobody) GTEST_SKIP() << "there is no other user here";
  EXPECT_EQ(WEXITSTATUS(status), 0);
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
