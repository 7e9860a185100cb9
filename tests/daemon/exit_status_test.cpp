// How the launcher ends by itself, row by row of the exit status's table; orderly ends are in termination_test.cpp.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "tests/support/bundle.h"
#include "tests/support/items.h"
#include "tests/support/launcher_process.h"
#include "tests/support/recording.h"
#include "tests/support/test_process.h"
#include "tests/support/wait_until.h"

static constexpr const char* kParseFailure = "[LAUNCHER  ] Error while parsing saved json string.";

TEST(ExitStatus, IsZeroWithFewerThanTwoArguments) {
  const Bundle bundle(Bundle::Logger::kRecording);
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{}, std::vector<std::string>{"agent"}}) {
    LauncherProcess launcher(bundle, arguments);
    EXPECT_EQ(launcher.ExitStatus(), 0) << arguments.size();
  }
}

TEST(ExitStatus, IsZeroForAListThatCannotBeReadAndNothingIsLogged) {
  const Bundle bundle(Bundle::Logger::kRecording);
  const struct {
    const char* what;
    std::string path;
  } rows[] = {
      {"missing", bundle.PathOf("missing.json")},
      {"empty", bundle.WriteList("")},
      {"empty path", ""},
  };
  for (const auto& row : rows) {
    LauncherProcess launcher(bundle, row.path);
    EXPECT_EQ(launcher.ExitStatus(), 0) << row.what;
    EXPECT_TRUE(ReadRecording(bundle.recording()).empty()) << row.what;
  }
}

TEST(ExitStatus, IsZeroForAMissingListAndTheRealLoggerHasNotEvenAFolder) {
  const Bundle bundle;
  LauncherProcess launcher(bundle, bundle.PathOf("missing.json"));
  EXPECT_EQ(launcher.ExitStatus(), 0);
  EXPECT_FALSE(std::filesystem::exists(bundle.log_folder()));
}

TEST(ExitStatus, IsZeroForAListThatCannotBeParsedOrWalked) {
  std::string nested;
  for (int level = 0; level < 1100; ++level) nested += "{\"0\":";
  const struct {
    const char* what;
    std::string text;
  } rows[] = {
      {"no JSON", "{"},
      {"plain text", "hello"},
      {"a NUL as first byte", std::string("\0{}", 3)},
      {"cut by a NUL", std::string("{\0}", 3)},
      {"an array at the top", R"([{"name": "a", "program": "/bin/true"}])"},
      {"a number at the top", "7"},
      {"an item that is a number", R"({"0": 7})"},
      {"an item that is an array", R"({"0": []})"},
      {"an item that is a text", R"({"0": "sync"})"},
      {"a name that is an object", R"({"0": {"name": {}}})"},
      {"more nesting than the parser allows", nested},
  };
  for (const auto& row : rows) {
    const Bundle bundle(Bundle::Logger::kRecording);
    LauncherProcess launcher(bundle, bundle.WriteList(row.text));
    EXPECT_EQ(launcher.ExitStatus(), 0) << row.what;
    const auto logged = LoggedWith(bundle.recording(), "");
    ASSERT_EQ(logged.size(), 1U) << row.what;
    EXPECT_EQ(logged[0].text, kParseFailure) << row.what;
    EXPECT_EQ(logged[0].level, LOGLEVEL_ERROR) << row.what;
  }
}

TEST(ExitStatus, IsZeroForABadItemAndTheChildrenStartedBeforeItAreKilled) {
  const Bundle bundle(Bundle::Logger::kRecording);
  LauncherProcess launcher(bundle, bundle.WriteList(ListOf({SleepingItem("early"), JsonObject("7")})));
  EXPECT_EQ(launcher.ExitStatus(), 0);
  EXPECT_EQ(LoggedWith(bundle.recording(), kParseFailure).size(), 1U);
  const auto ends = LoggedWith(bundle.recording(), "early");
  ASSERT_EQ(ends.size(), 2U);
  EXPECT_NE(ends[1].text.find("status = 9"), std::string::npos) << ends[1].text;
  EXPECT_TRUE(WaitUntil([&] { return launcher.NobodyLeft(); }));
}

TEST(ExitStatus, StaysZeroWhenSigtermComesWhileTheChildrenAreBeingKilledAtExit) {
  const Bundle bundle(Bundle::Logger::kRecording);
  const std::string list = bundle.WriteList(ListOf({SleepingItem("a"), SleepingItem("b"), JsonObject("7")}));
  LauncherProcess launcher(bundle, list);
  // One has been killed, and exit waits for its pause.
  ASSERT_TRUE(WaitUntil([&] { return LoggedWith(bundle.recording(), "status = 9").size() >= 1; }));
  for (int i = 0; i < 10; ++i) {
    launcher.Signal(SIGTERM);
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
  }
  EXPECT_EQ(launcher.ExitStatus(), 0);
  EXPECT_EQ(LoggedWith(bundle.recording(), "status = 9").size(), 2U);
}

TEST(ExitStatus, IsZeroWhenAThreadCannotBeStarted) {
  const auto unused_user = static_cast<uid_t>(200000 + getpid());
  if (!CanBecomeUser(unused_user))
    GTEST_SKIP() << "takes root, to become a user whose number of processes can be limited";
  if (!ThreadsCountAsProcesses()) GTEST_SKIP() << "no limit here keeps a thread from starting";
  const Bundle bundle(Bundle::Logger::kRecording);
  ASSERT_EQ(chmod(bundle.PathOf("").c_str(), 0777), 0);
  LauncherProcess::Options options;
  options.before_exec = [unused_user] {
    const rlimit one_process = {1, 1};
    (void)setrlimit(RLIMIT_NPROC, &one_process);
    if (setgid(unused_user) != 0 || setuid(unused_user) != 0) _exit(126);
  };
  options.environment["ASAN_OPTIONS"] = "detect_leaks=0";  // The leak check needs a thread.
  options.environment["TSAN_OPTIONS"] = "";  // That user may not be able to read the list of what it names.
  options.environment["HOME"] = bundle.PathOf("home");
  LauncherProcess launcher(bundle, {"agent", bundle.WriteList(ListOf({SleepingItem("a")}))}, options);
  EXPECT_EQ(launcher.ExitStatus(), 0);
  EXPECT_EQ(LoggedWith(bundle.recording(), kParseFailure).size(), 1U);
  EXPECT_TRUE(LoggedWith(bundle.recording(), "Start to fork").empty());
}

TEST(ExitStatus, IsZeroForAnItemWithoutNameOnlyIfSomethingElseIsWrong) {
  const Bundle bundle(Bundle::Logger::kRecording);
  LauncherProcess launcher(bundle, bundle.WriteList(R"({"0": {"program": "/bin/true"}, "1": null})"));
  ASSERT_TRUE(WaitUntil([&] { return LoggedWith(bundle.recording(), "has no name").size() == 2; }));
  EXPECT_TRUE(launcher.IsRunning());
  EXPECT_EQ(LoggedWith(bundle.recording(), "has no name")[0].text, "[LAUNCHER  ] There is an item has no name.");
}

TEST(ExitStatus, IsOneAfterSigtermWithAListThatStartsNothing) {
  for (const char* text : {"{}", R"({"1": {"name": "a", "program": "/bin/true"}, "other": 7})", "null"}) {
    const Bundle bundle(Bundle::Logger::kRecording);
    LauncherProcess launcher(bundle, bundle.WriteList(text));
    ASSERT_TRUE(WaitUntil([&] { return ReadRecording(bundle.recording()).size() == 2; })) << text;
    // Still there a while after the logger has started: it waits.
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_TRUE(launcher.IsRunning()) << text;
    EXPECT_EQ(launcher.Stop(), 1) << text;
    EXPECT_TRUE(LoggedWith(bundle.recording(), "").empty()) << text;
  }
}

// The third item ends the launcher, whose `exit` waits for the pause of an item. The other one is started once more,
// and its forked child ends meanwhile: a second `exit` there would go on with the first one's half of the work, which
// the thread sanitizer does not survive. Both pauses end at nearly the same time, so it takes several launchers
// sometimes.
TEST(Exit, IsNotGoneOnWithByAForkedChild) {
  const auto was_started_once_more = [] {
    const Bundle bundle(Bundle::Logger::kRecording);
    LauncherProcess launcher(bundle, bundle.WriteList(ListOf({Item("a", ""), Item("b", ""), JsonObject("true")})));
    EXPECT_EQ(launcher.ExitStatus(), 0);
    EXPECT_TRUE(WaitUntil([&] { return launcher.NobodyLeft(); }));
    return CountLogged(bundle, "Start to fork") >= 3;
  };
  bool has_happened = false;
  for (int launchers = 0; launchers < 20 && !has_happened; ++launchers) has_happened = was_started_once_more();
  EXPECT_TRUE(has_happened);
}
