// How the launcher ends: SIGTERM in every situation, the order that it leaves behind, and other signals.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <random>
#include <string>

#include "tests/support/bundle.h"
#include "tests/support/items.h"
#include "tests/support/launcher_process.h"
#include "tests/support/recording.h"
#include "tests/support/sanitized.h"
#include "tests/support/test_process.h"
#include "tests/support/wait_until.h"

using Clock = std::chrono::steady_clock;

static std::string SleepingList(int count) {
  std::vector<JsonObject> items;
  for (int i = 0; i < count; ++i) items.push_back(SleepingItem("s" + std::to_string(i)));
  return ListWithEndMark(items);
}

// By the clock that the recording logger has.
static int64_t NowInMilliseconds() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now().time_since_epoch()).count();
}

static int64_t MillisecondsSinceTheLastEnd(const Bundle& bundle) {
  return NowInMilliseconds() - LoggedWith(bundle.recording(), "is killed").back().milliseconds;
}

// Sends SIGTERM to a launcher that waits for it, and returns when its handler runs, by the same clock.
static int64_t BeginToStop(const LauncherProcess& launcher) {
  launcher.Signal(SIGTERM);
  EXPECT_TRUE(WaitUntil([&] { return !MainThreadWaits(launcher.pid()); }));
  return NowInMilliseconds();
}

// Starts that came so late after the stop that it must have been heeded.
static size_t CountStartsAfterAStop(const Bundle& bundle, int64_t stop_in_milliseconds) {
  const auto starts = LoggedWith(bundle.recording(), "Start to fork");
  return static_cast<size_t>(std::count_if(starts.begin(), starts.end(), [&](const RecordedCall& start) {
    return start.milliseconds > stop_in_milliseconds + 1000;
  }));
}

static void ExpectNoStartAfterAStop(const Bundle& bundle, int64_t stop_in_milliseconds) {
  // The thread sanitizer looks up what it then suppresses in the middle of the stop, for seconds on a busy machine.
  if (kSanitized) return;
  EXPECT_EQ(CountStartsAfterAStop(bundle, stop_in_milliseconds), 0U);
}

TEST(Sigterm, EndsALauncherWithNoneOneOrThreeChildrenInOrder) {
  for (const int children : {0, 1, 3}) {
    const Bundle bundle(Bundle::Logger::kRecording);
    LauncherProcess launcher(bundle, bundle.WriteList(SleepingList(children)));
    launcher.WaitUntilItWaits();
    EXPECT_EQ(launcher.Stop(), 1) << children;
    EXPECT_EQ(CountLogged(bundle, "status = 9"), static_cast<size_t>(children));
    EXPECT_TRUE(WaitUntil([&] { return launcher.NobodyLeft(); }));
  }
}

TEST(Sigterm, TakesTheSumOfTheChildrensPauses) {
  const Bundle bundle(Bundle::Logger::kRecording);
  LauncherProcess launcher(bundle, bundle.WriteList(SleepingList(3)));
  launcher.WaitUntilItWaits();
  const auto start = Clock::now();
  EXPECT_EQ(launcher.Stop(), 1);
  // Each is in its first run; killed one after the other, each pauses for its second.
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(2990));
}

TEST(Sigterm, WaitsForAPauseToRunOut) {
  const Bundle bundle(Bundle::Logger::kRecording);
  LauncherProcess launcher(bundle, bundle.WriteList(ListWithEndMark({ShellItem("crash", "exit 1")})));
  launcher.WaitUntilItWaits();
  // The third end, which a pause of 3 seconds follows.
  ASSERT_TRUE(WaitUntil([&] { return CountLogged(bundle, "is killed") >= 3; }));
  const int64_t stop = BeginToStop(launcher);
  EXPECT_EQ(launcher.ExitStatus(), 1);
  EXPECT_GE(MillisecondsSinceTheLastEnd(bundle), 2995);
  ExpectNoStartAfterAStop(bundle, stop);
}

TEST(Sigterm, TakesUpToFourSecondsForAnItemInItsFourthPause) {
  const Bundle bundle(Bundle::Logger::kRecording);
  LauncherProcess launcher(bundle, bundle.WriteList(ListWithEndMark({ShellItem("crash", "exit 1")})));
  launcher.WaitUntilItWaits();
  ASSERT_TRUE(WaitUntil([&] { return CountLogged(bundle, "is killed") >= 4; }));
  const int64_t stop = BeginToStop(launcher);
  EXPECT_EQ(launcher.ExitStatus(), 1);
  const int64_t taken = MillisecondsSinceTheLastEnd(bundle);
  EXPECT_GE(taken, 3995);
  EXPECT_LT(taken, 40000);  // A busy machine takes its time.
  ExpectNoStartAfterAStop(bundle, stop);
}

TEST(Sigterm, TwiceInARowIsAsGoodAsOnce) {
  for (const int children : {0, 2}) {
    const Bundle bundle(Bundle::Logger::kRecording);
    LauncherProcess launcher(bundle, bundle.WriteList(SleepingList(children)));
    launcher.WaitUntilItWaits();
    launcher.Signal(SIGTERM);
    launcher.Signal(SIGTERM);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    (void)kill(launcher.pid(), SIGTERM);  // With children, the handler is still at work.
    EXPECT_EQ(launcher.ExitStatus(), 1);
    EXPECT_TRUE(WaitUntil([&] { return launcher.NobodyLeft(); }));
  }
}

TEST(Sigterm, AtFiftyRandomMomentsAfterTheStartAlwaysEndsWithOne) {
  const Bundle bundle(Bundle::Logger::kRecording);
  const std::string list = bundle.WriteList(
      ListWithEndMark({SleepingItem("steady"), ShellItem("crash", "exit 1"), RunOnce(ShellItem("once", "exit 0"))}));
  constexpr unsigned kSeed = 20260101;
  std::mt19937 random(kSeed);
  for (int round = 0; round < 5; ++round) {
    std::vector<std::unique_ptr<LauncherProcess>> launchers;
    for (int i = 0; i < 10; ++i) launchers.push_back(std::make_unique<LauncherProcess>(bundle, list));
    for (const auto& launcher : launchers) launcher->WaitUntilItWaits();
    for (const auto& launcher : launchers) {
      std::this_thread::sleep_for(std::chrono::milliseconds(random() % 150));
      launcher->Signal(SIGTERM);
    }
    for (const auto& launcher : launchers) {
      EXPECT_EQ(launcher->ExitStatus(), 1);
      EXPECT_TRUE(WaitUntil([&] { return launcher->NobodyLeft(); }));
    }
  }
}

TEST(SecondSupervisor, EndsOnASigtermOfItsOwnAndHarmsNobody) {
  const Bundle bundle(Bundle::Logger::kRecording);
  const auto list = ListOf({SleepingItem("sibling"), Item("missing", "/nonexistent/program")});
  LauncherProcess launcher(bundle, bundle.WriteList(list));
  // Two starts: the launcher's, and that of the second supervisor.
  ASSERT_TRUE(WaitUntil([&] { return CountLogged(bundle, "Start to fork missing") >= 2; }));
  const pid_t second = LoggedWith(bundle.recording(), "Start to fork missing")[1].process;
  ASSERT_NE(second, launcher.pid());
  ASSERT_EQ(kill(second, SIGTERM), 0);
  const std::string end =
      "missing " + std::to_string(second) + " is killed. ret = " + std::to_string(second) + ", status = 15";
  EXPECT_TRUE(WaitUntil([&] { return CountLogged(bundle, end) == 1; }));
  EXPECT_EQ(CountLogged(bundle, "sibling "), 0U);  // Its end.
  EXPECT_TRUE(launcher.IsRunning());
  EXPECT_EQ(launcher.Stop(), 1);
}

// All pauses run out at nearly the same time. Only where they do so in the order in which the items are stopped, nobody
// starts once more; so it takes several launchers sometimes.
TEST(Stop, LetsTheItemsThatWaitForTheirTurnGoOn) {
  std::vector<JsonObject> items;
  for (int i = 0; i < 4; ++i) items.push_back(ShellItem("item" + std::to_string(i), "exit 1"));
  const auto somebody_goes_on = [&] {
    const Bundle bundle(Bundle::Logger::kRecording);
    LauncherProcess launcher(bundle, bundle.WriteList(ListWithEndMark(items)));
    launcher.WaitUntilItWaits();
    EXPECT_TRUE(WaitUntil([&] { return CountLogged(bundle, "is killed") >= 8; }));
    const int64_t stop = BeginToStop(launcher);
    EXPECT_EQ(launcher.ExitStatus(), 1);
    return CountStartsAfterAStop(bundle, stop) > 0;
  };
  bool has_happened = false;
  for (int launchers = 0; launchers < 5 && !has_happened; ++launchers) has_happened = somebody_goes_on();
  EXPECT_TRUE(has_happened);
}

TEST(SecondSupervisors, EndFromTheLastToTheFirstAndLogTheirEnds) {
  const Bundle bundle(Bundle::Logger::kRecording);
  LauncherProcess launcher(bundle, bundle.WriteList(ListOf({Item("missing", "/nonexistent/program")})));
  ASSERT_TRUE(WaitUntil([&] { return CountLogged(bundle, "Start to fork missing") >= 3; }));
  EXPECT_EQ(launcher.Stop(), 1);
  EXPECT_FALSE(launcher.NobodyLeft());
  EXPECT_TRUE(WaitUntil([&] { return launcher.NobodyLeft(); }));
  // The launcher has logged the end of the first, and each of the others that of the one that it had forked. The chain
  // grows until the launcher has ended, so it can have become longer; nobody was left to log the end of the second.
  const auto starts = LoggedWith(bundle.recording(), "Start to fork missing");
  const auto ends = LoggedWith(bundle.recording(), "is killed");
  ASSERT_EQ(ends.size(), starts.size() - 1);
  EXPECT_EQ(ends[0].process, launcher.pid());
  for (size_t i = 1; i < ends.size(); ++i) EXPECT_EQ(ends[i].process, starts[starts.size() - i].process) << i;
}

TEST(SecondSupervisors, LeaveAProgramThatOneOfThemHasStartedRunningAtTheStop) {
  const Bundle bundle(Bundle::Logger::kRecording);
  const std::string program = bundle.PathOf("late");
  const std::string flag = bundle.PathOf("flag");
  LauncherProcess launcher(bundle, bundle.WriteList(ListOf({Item("late", program)})));
  // The launcher's own attempt has failed when a second supervisor starts it.
  ASSERT_TRUE(WaitUntil([&] { return CountLogged(bundle, "Start to fork late") >= 2; }));
  WriteFile(program + ".unfinished", "#!/bin/sh\n: > " + flag + "\nexec /bin/sleep 100000\n");
  std::filesystem::permissions(program + ".unfinished", std::filesystem::perms::owner_all);
  std::filesystem::rename(program + ".unfinished", program);
  ASSERT_TRUE(WaitUntil([&] { return std::filesystem::exists(flag); }));
  EXPECT_EQ(launcher.Stop(), 1);
  std::this_thread::sleep_for(std::chrono::seconds(1));
  EXPECT_FALSE(launcher.NobodyLeft());
}

TEST(SecondSupervisors, EndAllOfThemWhenTheLauncherHasEnded) {
  for (const int signal_number : {SIGTERM, SIGKILL}) {
    const Bundle bundle(Bundle::Logger::kRecording);
    LauncherProcess launcher(bundle, bundle.WriteList(ListWithEndMark({Item("missing", "/nonexistent/program")})));
    // Three processes of the chain beside the launcher, or more.
    ASSERT_TRUE(WaitUntil([&] { return CountLogged(bundle, "Start to fork missing") >= 3; }));
    launcher.WaitUntilItWaits();
    launcher.Signal(signal_number);
    ASSERT_TRUE(launcher.WaitStatus());
    EXPECT_FALSE(launcher.NobodyLeft());
    EXPECT_TRUE(WaitUntil([&] { return launcher.NobodyLeft(); }));
  }
}

// Comes while the second fork is held back: it stops what is there already, and the next one ends the launcher.
TEST(Sigterm, DuringTheStartUpWakesNobody) {
  const Bundle bundle(Bundle::Logger::kRecording);
  LauncherProcess::Options options;
  const std::string gate = bundle.PathOf("gate");
  options.environment["RECORDING_FORK_GATES"] = gate;
  WriteFile(gate + "1", "");
  LauncherProcess launcher(bundle, {"agent", bundle.WriteList(SleepingList(2))}, options);
  ASSERT_TRUE(WaitUntil([&] { return CountLogged(bundle, "Start to fork s1") == 1; }));
  launcher.Signal(SIGTERM);
  WriteFile(gate + "2", "");
  launcher.WaitUntilItWaits();
  EXPECT_TRUE(launcher.IsRunning());
  EXPECT_EQ(CountLogged(bundle, "s0 "), 1U);
  EXPECT_EQ(CountLogged(bundle, "s1 "), 0U);
  EXPECT_EQ(launcher.Stop(), 1);
  EXPECT_EQ(CountLogged(bundle, "status = 9"), 2U);
}

// With slow forks the stop falls between a supervisor's look at its flag and the return of its fork.
TEST(Sigterm, MissesNoChildThatIsBeingForked) {
  const Bundle bundle(Bundle::Logger::kRecording);
  LauncherProcess::Options options;
  options.environment["RECORDING_FORK_DELAY_MS"] = "400";
  // Ends at once in its first run, and stays in its second.
  const std::string flag = bundle.PathOf("flag");
  const auto list = ListOf({ShellItem("late", "[ -e " + flag + " ] && exec sleep 100000; : > " + flag)});
  LauncherProcess launcher(bundle, {"agent", bundle.WriteList(list)}, options);
  ASSERT_TRUE(WaitUntil([&] { return CountLogged(bundle, "Start to fork late") == 2; }));
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  EXPECT_EQ(launcher.Stop(), 1);
  EXPECT_EQ(CountLogged(bundle, "status = 9"), 1U);
  EXPECT_TRUE(WaitUntil([&] { return launcher.NobodyLeft(); }));
}

TEST(OtherSignals, EndTheLauncherByTheirDefaultActionWithoutCleanUp) {
  for (const int number : {SIGHUP, SIGINT}) {
    const Bundle bundle(Bundle::Logger::kRecording);
    LauncherProcess launcher(bundle, bundle.WriteList(SleepingList(1)));
    launcher.WaitUntilItWaits();
    launcher.Signal(number);
    const std::optional<int> status = launcher.WaitStatus();
    ASSERT_TRUE(status);
    EXPECT_EQ(*status, number);
    EXPECT_FALSE(launcher.NobodyLeft());  // The program runs on.
    EXPECT_EQ(CountLogged(bundle, "is killed"), 0U);
  }
}

TEST(Folder, GivenAsTheLaunchListIsReadForEver) {
  const Bundle bundle(Bundle::Logger::kRecording);
  LauncherProcess launcher(bundle, bundle.PathOf(""));
  std::this_thread::sleep_for(std::chrono::seconds(1));
  EXPECT_TRUE(launcher.IsRunning());
  EXPECT_TRUE(ReadRecording(bundle.recording()).empty());
}
