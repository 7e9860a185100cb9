// A supervisor whose fork failed keeps -1, and passes it to `kill` when it is stopped: every process that the user may
// signal. Shown in a PID namespace, where these are only the test's own.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "common/system/process.h"
#include "tests/support/bundle.h"
#include "tests/support/items.h"
#include "tests/support/recording.h"
#include "tests/support/test_process.h"

TEST(FailedFork, IsLoggedAndTheStopSignalsEveryProcessOfTheUser) {
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the thread sanitizer's own thread counts as one of the user's processes";
#endif
  const std::string in_namespace = "unshare --pid --fork --mount-proc --kill-child -- ";
  const auto unused_user = static_cast<uid_t>(300000 + getpid());
  if (!CanBecomeUser(unused_user) || pexec(in_namespace + "echo ok 2>/dev/null") != "ok\n") {
    GTEST_SKIP() << "takes root, a PID namespace and a user whose number of processes can be limited";
  }
  const Bundle bundle(Bundle::Logger::kRecording);
  ASSERT_EQ(chmod(bundle.PathOf("").c_str(), 0777), 0);
  const std::string list = bundle.WriteList(ListWithEndMark({SleepingItem("forkless")}));
  // The leak check needs a thread, which this user can't have.
  const std::string environment =
      "HOME=" + bundle.PathOf("home") + " RECORDING=" + bundle.recording() + " ASAN_OPTIONS=detect_leaks=0 ";
  const std::string outcome = pexec(environment + in_namespace + FAILING_FORK_SCENE + " " + bundle.launcher() + " " +
                                    list + " " + bundle.recording() + " " + std::to_string(unused_user));

  EXPECT_EQ(outcome, "launcher=256 bystander=9\n");
  const auto logged = LoggedWith(bundle.recording(), "forkless");
  ASSERT_EQ(logged.size(), 2U);
  EXPECT_EQ(logged[1].text, "[LAUNCHER  ] Failed to fork forkless");
  EXPECT_EQ(logged[1].level, LOGLEVEL_ERROR);
}
