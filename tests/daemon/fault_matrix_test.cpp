// What befalls a running launcher and its programs, a row of docs/reliability.md each.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tests/support/bundle.h"
#include "tests/support/fault_scene.h"
#include "tests/support/files.h"
#include "tests/support/items.h"
#include "tests/support/launcher_process.h"
#include "tests/support/recording.h"
#include "tests/support/test_process.h"
#include "tests/support/wait_until.h"

using Clock = std::chrono::steady_clock;

// The process id that the program itself has written.
static pid_t WrittenPid(const std::string& path) {
  EXPECT_TRUE(WaitUntil([&] { return !ReadLines(path).empty(); })) << path;
  return std::stoi(ReadLines(path).front());
}

static bool IsAlive(pid_t process) { return kill(process, 0) == 0; }

TEST(FailedWait, StartsASecondCopyAfterThePause) {
  if (!WhyNoFaults().empty()) GTEST_SKIP() << WhyNoFaults();
  for (const int error : {EINTR, ECHILD}) {
    const Bundle bundle(Bundle::Logger::kRecording);
    LauncherProcess launcher(bundle, {"agent", bundle.WriteList(ListOf({SleepingItem("twice")}))},
                             WithFaults(bundle, {{"INJECTED_WAITPID", std::to_string(error)}}));
    ASSERT_TRUE(WaitUntil([&] { return CountLogged(bundle, "Start to fork twice") == 2; })) << error;
    EXPECT_EQ(CountLogged(bundle, "is killed. ret = -1"), 1U) << error;
    EXPECT_EQ(launcher.Stop(), 1) << error;
    EXPECT_FALSE(launcher.NobodyLeft()) << "the first copy has nobody who watches it";
  }
}

TEST(BlockedSigterm, AtTheStartStaysBlockedInLauncherAndProgram) {
  const Bundle bundle(Bundle::Logger::kRecording);
  const std::string report = bundle.PathOf("report");
  LauncherProcess::Options options;
  options.before_exec = [] {
    sigset_t mask;
    (void)sigemptyset(&mask);
    (void)sigaddset(&mask, SIGTERM);
    (void)sigprocmask(SIG_SETMASK, &mask, nullptr);
  };
  const std::string list = bundle.WriteList(ListWithEndMark({Item("r", REPORT_PROGRAM, {report})}));
  LauncherProcess launcher(bundle, {"agent", list}, options);
  ASSERT_TRUE(WaitUntil([&] { return std::filesystem::exists(report); }));
  EXPECT_NE(ReadFile(report).find("blocked=" + std::to_string(SIGTERM)), std::string::npos);
  ASSERT_TRUE(WaitUntil([&] { return CountLogged(bundle, "has no name") == 1; }));
  launcher.Signal(SIGTERM);
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_TRUE(launcher.IsRunning());
}

TEST(Fifo, AsTheLaunchListIsWaitedForAndSigtermChangesNothing) {
  const Bundle bundle(Bundle::Logger::kRecording);
  const std::string fifo = bundle.PathOf("fifo");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  LauncherProcess launcher(bundle, fifo);
  int writer = -1;  // Can be opened as soon as there is a reader.
  ASSERT_TRUE(WaitUntil([&] { return (writer = open(fifo.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC)) >= 0; }));
  launcher.Signal(SIGTERM);
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_TRUE(launcher.IsRunning());
  const std::string list = ListOf({SleepingItem("late")});
  EXPECT_EQ(write(writer, list.data(), list.size()), static_cast<ssize_t>(list.size()));
  (void)close(writer);
  EXPECT_TRUE(WaitUntil([&] { return CountLogged(bundle, "Start to fork late") == 1; }));
  EXPECT_EQ(launcher.Stop(), 1);
}

TEST(Fifo, AsASettingsFileIsWaitedForAndSigtermChangesNothing) {
  const Bundle bundle(Bundle::Logger::kRecording);
  bundle.SetLogLevel("ERROR");
  const std::string fifo = bundle.settings_folder() + "/log.ini";
  std::filesystem::remove(fifo);
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  LauncherProcess launcher(bundle, bundle.WriteList(ListOf({SleepingItem("late")})));
  int writer = -1;
  ASSERT_TRUE(WaitUntil([&] { return (writer = open(fifo.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC)) >= 0; }));
  launcher.Signal(SIGTERM);
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_TRUE(launcher.IsRunning());
  EXPECT_EQ(CountLogged(bundle, "Start to fork late"), 0U);
  std::filesystem::rename(fifo, fifo + ".fifo");
  bundle.SetLogLevel("ERROR");  // Where the settings are read once more.
  (void)close(writer);
  EXPECT_TRUE(WaitUntil([&] { return CountLogged(bundle, "Start to fork late") == 1; }));
  EXPECT_EQ(launcher.Stop(), 1);
}

TEST(EndlessSettings, AreReadForEverAndNothingIsStarted) {
  const Bundle bundle(Bundle::Logger::kRecording);
  bundle.SetLogLevel("ERROR");
  std::filesystem::remove(bundle.settings_folder() + "/log.ini");
  std::filesystem::create_symlink("/dev/zero", bundle.settings_folder() + "/log.ini");
  LauncherProcess launcher(bundle, bundle.WriteList(ListOf({SleepingItem("never")})));
  ASSERT_TRUE(WaitUntil([&] { return HandlesSigterm(launcher.pid()); }));
  std::this_thread::sleep_for(std::chrono::seconds(1));
  launcher.Signal(SIGTERM);
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_TRUE(launcher.IsRunning());
  EXPECT_EQ(CountLogged(bundle, "Start to fork"), 0U);
}

TEST(EndlessList, IsReadUntilMemoryEndsAndLeavesNobody) {
  if (!WhyNoFaults().empty()) GTEST_SKIP() << "takes a limit on memory: " << WhyNoFaults();
  const Bundle bundle(Bundle::Logger::kRecording);
  LauncherProcess::Options options;
  options.before_exec = [] {
    constexpr rlimit kMemory = {200 << 20, 200 << 20};
    (void)setrlimit(RLIMIT_AS, &kMemory);
  };
  LauncherProcess launcher(bundle, {"agent", "/dev/zero"}, options);
  const std::optional<int> status = launcher.WaitStatus();
  ASSERT_TRUE(status);
  EXPECT_TRUE(WIFSIGNALED(*status));
  EXPECT_EQ(WTERMSIG(*status), SIGABRT);
  EXPECT_TRUE(launcher.NobodyLeft());
}

TEST(HugeList, OfSixtyMegabytesAndManyKeysIsStarted) {
  const Bundle bundle(Bundle::Logger::kRecording);
  std::string keys;
  const int count = 50000 * SoakFactor();
  for (int i = 0; i < count; ++i) keys += "\"unused " + std::to_string(i) + "\": 0,\n";
  const std::string list = bundle.WriteList("{" + keys + "\"text\": \"" + std::string(size_t{60} << 20, 'x') +
                                            R"(", "0": {"name": "huge", "program": "/bin/sleep", "argc": 1,)" +
                                            R"("args": {"0": "100000"}}})");
  LauncherProcess launcher(bundle, list);
  EXPECT_TRUE(WaitUntil([&] { return CountLogged(bundle, "Start to fork huge") == 1; }));
  EXPECT_EQ(launcher.Stop(), 1);
  ShowFigures("a text of 60 MiB and " + std::to_string(count) + " keys beside the item");
}

TEST(HugeSettings, WithALineOfFiftyMegabytesMeanTheDefault) {
  const Bundle bundle(Bundle::Logger::kRecording);
  bundle.SetLogLevel("ERROR");
  WriteFile(bundle.settings_folder() + "/log.ini", std::string(size_t{50} << 20, 'x') + "\n[LOG]\nLEVEL=DEBUG\n");
  LauncherProcess launcher(bundle, bundle.WriteList("{}"));
  ASSERT_TRUE(WaitUntil([&] { return ReadRecording(bundle.recording()).size() == 2; }));
  EXPECT_EQ(ReadRecording(bundle.recording())[1].level, LOGLEVEL_DEBUG);  // The section behind the line is found.
  EXPECT_EQ(launcher.Stop(), 1);
}

TEST(LogFolder, RemovedWhileTheLauncherRunsIsMadeAnew) {
  const Bundle bundle;
  LauncherProcess launcher(bundle, bundle.WriteList(ListOf({ShellItem("often", "exit 1")})));
  ASSERT_TRUE(WaitUntil([&] { return !ReadLines(bundle.log_file()).empty(); }));
  std::filesystem::remove_all(bundle.log_folder());
  EXPECT_TRUE(WaitUntil([&] { return !ReadLines(bundle.log_file()).empty(); }));
  EXPECT_TRUE(launcher.IsRunning());
}

TEST(LogFolder, ReplacedByAFileCostsRecordsAndNothingElse) {
  const Bundle bundle;
  const std::string flag = bundle.PathOf("flag");
  LauncherProcess launcher(bundle, bundle.WriteList(ListOf({ShellItem("often", "echo run >> " + flag)})));
  ASSERT_TRUE(WaitUntil([&] { return !ReadLines(bundle.log_file()).empty(); }));
  std::filesystem::remove_all(bundle.log_folder());
  WriteFile(bundle.log_folder(), "in the way");
  EXPECT_TRUE(WaitUntil([&] { return ReadLines(flag).size() >= 3; }));
  EXPECT_TRUE(launcher.IsRunning());
  EXPECT_EQ(launcher.Stop(), 1);
}

TEST(MemoryLimit, AtTheStartLeavesNobodyBehind) {
  if (!WhyNoFaults().empty()) GTEST_SKIP() << WhyNoFaults();
  const rlim_t step = SoakFactor() > 1 ? 6 : 41;
  int runs = 0;
  std::map<std::string, int> outcomes;
  for (rlim_t megabytes = 8; megabytes <= 254; megabytes += step) {
    const Bundle bundle;
    std::vector<JsonObject> items;
    for (int i = 0; i < 20; ++i) items.push_back(SleepingItem("sleeper " + std::to_string(i)));
    LauncherProcess::Options options = WithFaults(bundle, {{"INJECTED_TIME_DIVISOR", "100"}});
    options.before_exec = [megabytes] {
      const rlimit memory = {megabytes << 20, megabytes << 20};
      (void)setrlimit(RLIMIT_AS, &memory);
    };
    LauncherProcess launcher(bundle, {"agent", bundle.WriteList(ListOf(items))}, options);
    (void)WaitUntil([&] { return !launcher.IsRunning(); }, std::chrono::milliseconds(300));
    const auto deadline = Clock::now() + kDeadline;
    while (launcher.IsRunning() && Clock::now() < deadline) {
      launcher.Signal(SIGTERM);
      (void)WaitUntil([&] { return !launcher.IsRunning(); }, std::chrono::milliseconds(100));
    }
    ++runs;
    ASSERT_FALSE(launcher.IsRunning()) << megabytes << " MB";
    const int status = launcher.WaitStatus().value_or(0);
    ++outcomes[WIFEXITED(status) ? "status " + std::to_string(WEXITSTATUS(status))
                                 : "signal " + std::to_string(WTERMSIG(status))];
    for (const auto& call : ReadReport(bundle).kills) EXPECT_GT(call.target, 0) << megabytes << " MB";
    EXPECT_TRUE(WaitUntil([&] { return launcher.NobodyLeft(); })) << megabytes << " MB, wait status " << status;
  }
  std::string figures = std::to_string(runs) + " limits from 8 to 254 MB, nobody left";
  for (const auto& [outcome, count] : outcomes) figures += ", " + outcome + " " + std::to_string(count) + " times";
  ShowFigures(figures);
}

TEST(StubbornProgram, IsKilledAndItsOwnChildrenRunOn) {
  const Bundle bundle(Bundle::Logger::kRecording);
  const std::string grandchild = bundle.PathOf("grandchild");
  const std::string script = "trap '' HUP INT QUIT TERM USR1 USR2; sleep 100000 & echo $! > " + grandchild + "; wait";
  LauncherProcess launcher(bundle, bundle.WriteList(ListOf({ShellItem("stubborn", script)})));
  const pid_t process = WrittenPid(grandchild);
  EXPECT_EQ(launcher.Stop(), 1);
  EXPECT_EQ(CountLogged(bundle, "status = 9"), 1U);
  EXPECT_TRUE(IsAlive(process));
}

// Allowed: the default action before the handler is there, status 1, and a second SIGTERM that is needed for that.
TEST(Sigterm, InTheFirstFifteenMillisecondsHasOneOfThreeOutcomes) {
  const Bundle bundle;
  const std::string list = bundle.WriteList(ListOf({SleepingItem("a"), SleepingItem("b")}));
  std::mt19937 random(20261121);
  constexpr int kLaunchersAtATime = 20;
  int by_default = 0;
  int by_first = 0;
  int by_later = 0;
  for (int round = 0; round < 2 * SoakFactor(); ++round) {
    std::vector<std::unique_ptr<LauncherProcess>> launchers;
    for (int i = 0; i < kLaunchersAtATime; ++i) {
      launchers.push_back(std::make_unique<LauncherProcess>(bundle, list));
      std::this_thread::sleep_for(std::chrono::microseconds(random() % 15000));
      launchers.back()->Signal(SIGTERM);
    }
    // Two programs that are stopped take two seconds.
    std::this_thread::sleep_for(std::chrono::milliseconds(2500));
    std::vector<LauncherProcess*> left;
    for (const auto& launcher : launchers) {
      if (launcher->IsRunning()) left.push_back(launcher.get());
    }
    by_later += static_cast<int>(left.size());
    by_first += kLaunchersAtATime - static_cast<int>(left.size());
    EXPECT_TRUE(WaitUntil([&] {
      left.erase(std::remove_if(left.begin(), left.end(), [](LauncherProcess* one) { return !one->IsRunning(); }),
                 left.end());
      for (const LauncherProcess* one : left) (void)kill(one->pid(), SIGTERM);
      return left.empty();
    }));
    for (const auto& launcher : launchers) {
      const int status = launcher->WaitStatus().value_or(0);
      if (WIFSIGNALED(status)) {
        EXPECT_EQ(WTERMSIG(status), SIGTERM);
        ++by_default;
        --by_first;
      } else {
        EXPECT_EQ(WEXITSTATUS(status), 1);
      }
      EXPECT_TRUE(WaitUntil([&] { return launcher->NobodyLeft(); }));
    }
  }
  ShowFigures(std::to_string(by_default) + " by the default action, " + std::to_string(by_first) +
              " by the first SIGTERM, " + std::to_string(by_later) + " by a later one");
}

TEST(Sigterm, AThousandTimesIsAsGoodAsOnce) {
  const Bundle bundle(Bundle::Logger::kRecording);
  LauncherProcess launcher(bundle, bundle.WriteList(ListWithEndMark({SleepingItem("a"), SleepingItem("b")})));
  launcher.WaitUntilItWaits();
  for (int i = 0; i < 1000; ++i) (void)kill(launcher.pid(), SIGTERM);
  EXPECT_EQ(launcher.ExitStatus(), 1);
  EXPECT_EQ(CountLogged(bundle, "status = 9"), 2U);
  EXPECT_TRUE(WaitUntil([&] { return launcher.NobodyLeft(); }));
}

TEST(Sigterm, ToTheWholeGroupEndsTheProgramsFirst) {
  const Bundle bundle(Bundle::Logger::kRecording);
  std::vector<JsonObject> items;
  for (const char* name : {"a", "b"}) {
    items.push_back(ShellItem(name, "echo $$ > " + bundle.PathOf(name) + "; exec sleep 100000"));
  }
  LauncherProcess launcher(bundle, bundle.WriteList(ListWithEndMark(items)));
  launcher.WaitUntilItWaits();
  for (const char* name : {"a", "b"}) (void)WrittenPid(bundle.PathOf(name));
  EXPECT_EQ(kill(-launcher.pid(), SIGTERM), 0);
  EXPECT_EQ(launcher.ExitStatus(), 1);
  EXPECT_EQ(CountLogged(bundle, "status = 15"), 2U);
  // The pauses of both run out at about the same time, and the launcher stops one item after the other: the last one
  // may have been restarted by then, and is killed.
  EXPECT_EQ(CountLogged(bundle, "is killed"), 2 + CountLogged(bundle, "status = 9"));
  EXPECT_EQ(CountLogged(bundle, "is killed"), CountLogged(bundle, "Start to fork"));
  EXPECT_TRUE(WaitUntil([&] { return launcher.NobodyLeft(); }));
}

TEST(Sigkill, OfTheLauncherLeavesItsProgramsRunning) {
  const Bundle bundle(Bundle::Logger::kRecording);
  const std::string written = bundle.PathOf("pid");
  const auto list = ListOf({ShellItem("orphan", "echo $$ > " + written + "; exec sleep 100000")});
  LauncherProcess launcher(bundle, bundle.WriteList(list));
  const pid_t program = WrittenPid(written);
  launcher.Signal(SIGKILL);
  EXPECT_EQ(launcher.WaitStatus(), SIGKILL);
  EXPECT_TRUE(IsAlive(program));
  EXPECT_EQ(CountLogged(bundle, "is killed"), 0U);
}

TEST(StopAndContinue, OfTheLauncherDelayAnEndAndLoseNone) {
  const Bundle bundle(Bundle::Logger::kRecording);
  const std::string written = bundle.PathOf("pid");
  const auto list = ListWithEndMark({ShellItem("program", "echo $$ > " + written + "; exec sleep 100000")});
  LauncherProcess launcher(bundle, bundle.WriteList(list));
  launcher.WaitUntilItWaits();
  launcher.Signal(SIGSTOP);
  int status = 0;
  ASSERT_EQ(waitpid(launcher.pid(), &status, WUNTRACED), launcher.pid());
  ASSERT_TRUE(WIFSTOPPED(status));
  ASSERT_EQ(kill(WrittenPid(written), SIGKILL), 0);
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_EQ(CountLogged(bundle, "is killed"), 0U);
  launcher.Signal(SIGCONT);
  EXPECT_TRUE(WaitUntil([&] { return CountLogged(bundle, "Start to fork program") == 2; }));
  EXPECT_EQ(CountLogged(bundle, "status = 9"), 1U);
  EXPECT_EQ(launcher.Stop(), 1);
}

TEST(StopAndContinue, OfAProgramAreNoEnd) {
  const Bundle bundle(Bundle::Logger::kRecording);
  const std::string written = bundle.PathOf("pid");
  const auto list = ListWithEndMark({ShellItem("program", "echo $$ > " + written + "; exec sleep 100000")});
  LauncherProcess launcher(bundle, bundle.WriteList(list));
  const pid_t program = WrittenPid(written);
  EXPECT_EQ(kill(program, SIGSTOP), 0);
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_EQ(kill(program, SIGCONT), 0);
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_EQ(CountLogged(bundle, "is killed"), 0U);
  launcher.WaitUntilItWaits();
  EXPECT_EQ(launcher.Stop(), 1);
}

TEST(RenamedProgram, IsTheOneThatThePathNamesAtEachStart) {
  const Bundle bundle(Bundle::Logger::kRecording);
  const std::string program = bundle.PathOf("program");
  const auto place = [&](const std::string& script) {
    WriteFile(program + ".new", "#!/bin/sh\n" + script + "\n");
    std::filesystem::permissions(program + ".new", std::filesystem::perms::owner_all);
    std::filesystem::rename(program + ".new", program);
  };
  place("exit 3");
  LauncherProcess launcher(bundle, bundle.WriteList(ListOf({Item("program", program)})));
  ASSERT_TRUE(WaitUntil([&] { return CountLogged(bundle, "status = 768") >= 1; }));
  place("exit 4");
  EXPECT_TRUE(WaitUntil([&] { return CountLogged(bundle, "status = 1024") >= 1; }));
}

TEST(ControlCharacters, InNamesStayOnTheirLine) {
  const Bundle bundle;
  std::string name;
  for (char c = 1; c < ' '; ++c) name.push_back(c);
  name += "\x7f end";
  LauncherProcess launcher(bundle, bundle.WriteList(ListOf({RunOnce(ShellItem(name, "exit 0"))})));
  ASSERT_TRUE(WaitUntil([&] { return !ReadFile(bundle.log_file()).empty(); }));
  const std::string log = ReadFile(bundle.log_file());
  EXPECT_EQ(ReadLines(bundle.log_file()).size(), 1U);
  for (const char c : log.substr(0, log.size() - 1)) EXPECT_TRUE(c >= ' ' && c < '\x7f') << int{c};
}

TEST(Folder, InThePlaceOfASettingsFileIsReadForEver) {
  for (const bool sdk_file : {true, false}) {
    const Bundle bundle(Bundle::Logger::kRecording);
    bundle.SetLogLevel("DEBUG");
    const std::string file = sdk_file ? bundle.sdk_file() : bundle.settings_folder() + "/log.ini";
    std::filesystem::remove(file);
    std::filesystem::create_directory(file);
    LauncherProcess launcher(bundle, bundle.WriteList("{}"));
    std::this_thread::sleep_for(std::chrono::seconds(1));
    EXPECT_TRUE(launcher.IsRunning()) << file;
    EXPECT_TRUE(ReadRecording(bundle.recording()).empty()) << file;
  }
}

TEST(Folder, MakesTheLauncherDeafToSigterm) {
  const Bundle bundle(Bundle::Logger::kRecording);
  LauncherProcess launcher(bundle, bundle.PathOf(""));
  ASSERT_TRUE(WaitUntil([&] { return HandlesSigterm(launcher.pid()); }));
  launcher.Signal(SIGTERM);
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  EXPECT_TRUE(launcher.IsRunning());
  launcher.Signal(SIGINT);
  EXPECT_EQ(launcher.WaitStatus(), SIGINT);
}
