// How programs are started, watched and started again.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <limits>
#include <memory>
#include <regex>
#include <set>
#include <string>

#include "tests/support/bundle.h"
#include "tests/support/items.h"
#include "tests/support/launcher_process.h"
#include "tests/support/recording.h"
#include "tests/support/sanitized.h"
#include "tests/support/wait_until.h"

static std::vector<RecordedCall> StartsOf(const Bundle& bundle, const std::string& name) {
  return LoggedWith(bundle.recording(), "[LAUNCHER  ] Start to fork " + name);
}

static std::vector<RecordedCall> EndsOf(const Bundle& bundle, const std::string& name) {
  std::vector<RecordedCall> ends;
  for (const RecordedCall& call : LoggedWith(bundle.recording(), "[LAUNCHER  ] " + name + " ")) {
    if (call.format == "[LAUNCHER  ] %s %d is killed. ret = %d, status = %d") ends.push_back(call);
  }
  return ends;
}

// The raw wait status that the line of an end tells; -1 when pid and ret differ.
static int StatusOf(const RecordedCall& end) {
  static const std::regex form(R"(\[LAUNCHER  \] .* (\d+) is killed\. ret = \1, status = (\d+))");
  std::smatch match;
  return std::regex_match(end.text, match, form) ? std::stoi(match[2].str()) : -1;
}

// The values of `key` in what report_self wrote.
static std::vector<std::string> Reported(const std::string& path, const std::string& key) {
  std::vector<std::string> values;
  for (const std::string& line : ReadLines(path)) {
    if (line.rfind(key + "=", 0) == 0) values.push_back(line.substr(key.size() + 1));
  }
  return values;
}

// A busy machine only ever adds to a pause, so of several programs side by side the shortest pause tells. It may add
// seconds; pauses that double would be four longer by the fourth.
TEST(Restarts, ComeAfterPausesOfOneToFourSeconds) {
  const Bundle bundle(Bundle::Logger::kRecording);
  const std::vector<std::string> names = {"crash0", "crash1", "crash2", "crash3", "crash4"};
  std::vector<JsonObject> items;
  for (const std::string& name : names) items.push_back(ShellItem(name, "exit 1"));
  LauncherProcess launcher(bundle, bundle.WriteList(ListOf(items)));
  for (const std::string& name : names) {
    ASSERT_TRUE(WaitUntil([&] { return StartsOf(bundle, name).size() >= 5; })) << name;
  }
  // The starts come at about 0, 1, 3, 6 and 10 seconds.
  int64_t earliest_since_first = 0;
  for (size_t run = 1; run <= 4; ++run) {
    int64_t shortest = std::numeric_limits<int64_t>::max();
    for (const std::string& name : names) {
      const RecordedCall start = StartsOf(bundle, name)[run];
      const RecordedCall end = EndsOf(bundle, name)[run - 1];
      EXPECT_EQ(start.level, LOGLEVEL_DEBUG);
      EXPECT_EQ(end.level, LOGLEVEL_ERROR);
      EXPECT_EQ(start.process, launcher.pid());
      shortest = std::min(shortest, start.milliseconds - end.milliseconds);
    }
    EXPECT_GE(shortest, static_cast<int64_t>(run) * 1000 - 5) << "after run " << run;
    EXPECT_LT(shortest, static_cast<int64_t>(run) * 1000 + 4000) << "after run " << run;

    earliest_since_first += static_cast<int64_t>(run) * 1000;
    int64_t since_first = std::numeric_limits<int64_t>::max();
    for (const std::string& name : names) {
      const auto starts = StartsOf(bundle, name);
      since_first = std::min(since_first, starts[run].milliseconds - starts[0].milliseconds);
    }
    EXPECT_GE(since_first, earliest_since_first - 5) << "start " << run + 1;
  }
}

TEST(Restarts, GrowTheirPausesForProgramsThatEndWell) {
  const Bundle bundle(Bundle::Logger::kRecording);
  LauncherProcess launcher(bundle, bundle.WriteList(ListOf({ShellItem("good", "sleep 1; exit 0")})));
  ASSERT_TRUE(WaitUntil([&] { return StartsOf(bundle, "good").size() >= 3; }));
  const auto starts = StartsOf(bundle, "good");
  const auto ends = EndsOf(bundle, "good");
  EXPECT_GE(starts[2].milliseconds - ends[1].milliseconds, 1995);
  EXPECT_EQ(StatusOf(ends[0]), 0);
}

TEST(Restarts, DoNotHappenForARunOnceItem) {
  const Bundle bundle(Bundle::Logger::kRecording);
  JsonObject not_once = ShellItem("often", "exit 0");
  not_once.Insert("run_once", JsonObject("false"));
  const auto list = ListOf({RunOnce(ShellItem("once", "exit 0")), not_once});
  LauncherProcess launcher(bundle, bundle.WriteList(list));
  // Run side by side: by the other's third start, at 3 seconds, a second one was long due.
  ASSERT_TRUE(WaitUntil([&] { return StartsOf(bundle, "often").size() >= 3; }));
  EXPECT_TRUE(WaitUntil([&] { return EndsOf(bundle, "once").size() == 1; }));
  EXPECT_EQ(StartsOf(bundle, "once").size(), 1U);
  EXPECT_TRUE(launcher.IsRunning());
}

TEST(EndLines, TellTheRawWaitStatus) {
  const struct {
    const char* name;
    const char* script;
    int status;
  } rows[] = {{"exit0", "exit 0", 0},
              {"exit1", "exit 1", 1 << 8},
              {"exit255", "exit 255", 255 << 8},
              {"killed", "kill -KILL $$", SIGKILL},
              {"terminated", "kill -TERM $$", SIGTERM},
              {"hangup", "kill -HUP $$", SIGHUP}};
  const Bundle bundle(Bundle::Logger::kRecording);
  std::vector<JsonObject> items;
  for (const auto& row : rows) items.push_back(RunOnce(ShellItem(row.name, row.script)));
  LauncherProcess launcher(bundle, bundle.WriteList(ListOf(items)));
  for (const auto& row : rows) {
    ASSERT_TRUE(WaitUntil([&] { return EndsOf(bundle, row.name).size() == 1; })) << row.name;
    EXPECT_EQ(StatusOf(EndsOf(bundle, row.name)[0]), row.status) << row.name;
  }
}

TEST(IgnoredSigchld, MakesTheWaitFailAndTheLineSaysSo) {
  const Bundle bundle(Bundle::Logger::kRecording);
  LauncherProcess::Options options;
  options.before_exec = [] { (void)signal(SIGCHLD, SIG_IGN); };
  LauncherProcess launcher(bundle, {"agent", bundle.WriteList(ListOf({ShellItem("a", "exit 3")}))}, options);
  ASSERT_TRUE(WaitUntil([&] { return CountLogged(bundle, "is killed") >= 1; }));
  const std::string line = LoggedWith(bundle.recording(), "is killed")[0].text;
  EXPECT_TRUE(std::regex_match(line, std::regex(R"(\[LAUNCHER  \] a \d+ is killed\. ret = -1, status = 0)"))) << line;
}

TEST(Program, GetsItsArgumentsInOrder) {
  const struct {
    const char* what;
    const char* members;
    std::vector<std::string> expected;  // Behind argv[0].
  } rows[] = {
      {"all there", R"("argc": 3, "args": {"0": "@", "1": "a", "2": "b"})", {"@", "a", "b"}},
      {"missing entries are empty texts", R"("argc": 3, "args": {"0": "@"})", {"@", "", ""}},
      {"entries at or beyond argc are ignored", R"("argc": 1, "args": {"0": "@", "1": "a"})", {"@"}},
      {"numbers become texts", R"("argc": 2, "args": {"0": "@", "1": 7})", {"@", "7"}},
      {"a text is cut at its NUL", R"("argc": 2, "args": {"0": "@", "1": "a\u0000b"})", {"@", "a"}},
      {"argc is cut to its low 32 bits", R"("argc": 4294967298, "args": {"0": "@", "1": "a"})", {"@", "a"}},
  };
  for (const auto& row : rows) {
    const Bundle bundle(Bundle::Logger::kRecording);
    const std::string report = bundle.PathOf("report");
    std::string members = row.members;
    members.replace(members.find('@'), 1, report);
    LauncherProcess launcher(
        bundle, bundle.WriteList(R"({"0": {"name": "r", "program": ")" REPORT_PROGRAM R"(", )" + members + "}}"));
    ASSERT_TRUE(WaitUntil([&] { return std::filesystem::exists(report); })) << row.what;
    std::vector<std::string> expected = {REPORT_PROGRAM};
    for (const std::string& argument : row.expected) expected.push_back(argument == "@" ? report : argument);
    EXPECT_EQ(Reported(report, "argument"), expected) << row.what;
    EXPECT_EQ(Reported(report, "count"), std::vector<std::string>{std::to_string(expected.size())}) << row.what;
  }
}

TEST(Program, GetsArgvZeroAloneWithoutAPositiveArgc) {
  for (const std::string argc : {"", R"("argc": 0,)", R"("argc": -1,)", R"("argc": -2147483648,)"}) {
    const Bundle bundle(Bundle::Logger::kRecording);
    LauncherProcess launcher(bundle, bundle.WriteList(R"({"0": {"name": "r", "program": ")" REPORT_PROGRAM R"(", )" +
                                                      argc + R"("run_once": true, "args": {"0": "unused"}}})"));
    ASSERT_TRUE(WaitUntil([&] { return EndsOf(bundle, "r").size() == 1; })) << argc;
    EXPECT_EQ(StatusOf(EndsOf(bundle, "r")[0]), 42 << 8) << argc;
  }
}

// A thread's stack is 8 MiB in the first case and 2 MiB in the second, for a C library that takes the limit for it.
TEST(Program, GetsAHundredThousandArgumentsWhateverTheStack) {
  for (const rlim_t stack_bytes : {rlim_t{8} * 1024 * 1024, rlim_t{RLIM_INFINITY}}) {
    const Bundle bundle(Bundle::Logger::kRecording);
    const std::string report = bundle.PathOf("report");
    LauncherProcess::Options options;
    options.before_exec = [stack_bytes] {
      rlimit stack = {};
      (void)getrlimit(RLIMIT_STACK, &stack);
      stack.rlim_cur = std::min(stack_bytes, stack.rlim_max);
      (void)setrlimit(RLIMIT_STACK, &stack);
    };
    JsonObject item = Item("r", REPORT_PROGRAM, {report});
    item.Insert("argc", JsonObject("100000"));
    LauncherProcess launcher(bundle, {"agent", bundle.WriteList(ListOf({item}))}, options);
    ASSERT_TRUE(WaitUntil([&] { return std::filesystem::exists(report); })) << stack_bytes;
    EXPECT_EQ(Reported(report, "count"), std::vector<std::string>{"100001"}) << stack_bytes;
  }
}

TEST(Program, IsNotStartedWithMoreArgumentsThanAnySystemPasses) {
  const Bundle bundle(Bundle::Logger::kRecording);
  JsonObject item = RunOnce(Item("r", "/bin/true"));
  item.Insert("argc", JsonObject("2147483647"));
  LauncherProcess launcher(bundle, bundle.WriteList(ListOf({item})));
  // A failed start: the child pauses and ends, "run_once" being its last word.
  ASSERT_TRUE(WaitUntil([&] { return EndsOf(bundle, "r").size() == 1; }));
  EXPECT_EQ(StatusOf(EndsOf(bundle, "r")[0]), 0);
}

TEST(Program, InheritsWhatTheLauncherInheritedAndNothingThatTheLauncherOpened) {
  const std::vector<int> inherited = {7, 10, 251};
  for (const auto logger : {Bundle::Logger::kReal, Bundle::Logger::kRecording}) {
    const Bundle bundle(logger);
    const std::string first = bundle.PathOf("first");
    const std::string second = bundle.PathOf("second");
    const auto list = ListOf({Item("a", REPORT_PROGRAM, {first}), Item("b", REPORT_PROGRAM, {second})});
    LauncherProcess::Options options;
    options.before_exec = [&inherited] {
      for (const int descriptor : inherited) (void)dup2(STDIN_FILENO, descriptor);
    };
    LauncherProcess launcher(bundle, {"agent", bundle.WriteList(list)}, options);
    for (const std::string& report : {first, second}) {
      ASSERT_TRUE(WaitUntil([&] { return std::filesystem::exists(report); }));
      EXPECT_EQ(Reported(report, "descriptor"), (std::vector<std::string>{"7", "10", "251"}));
    }
  }
}

TEST(Program, FindsNoDescriptorOpenWhenTheLauncherInheritedTheStandardStreamsAlone) {
  for (const auto logger : {Bundle::Logger::kReal, Bundle::Logger::kRecording}) {
    const Bundle bundle(logger);
    const std::string report = bundle.PathOf("report");
    LauncherProcess launcher(bundle, bundle.WriteList(ListOf({Item("a", REPORT_PROGRAM, {report})})));
    ASSERT_TRUE(WaitUntil([&] { return std::filesystem::exists(report); }));
    EXPECT_EQ(Reported(report, "descriptor"), std::vector<std::string>{});
  }
}

TEST(Program, FindsTheSignalsAsTheLauncherFoundThem) {
  const Bundle bundle;
  const std::string report = bundle.PathOf("report");
  LauncherProcess::Options options;
  options.before_exec = [] {
    sigset_t mask;
    (void)sigemptyset(&mask);
    (void)sigaddset(&mask, SIGUSR1);
    (void)sigprocmask(SIG_SETMASK, &mask, nullptr);
    (void)signal(SIGHUP, SIG_IGN);
    (void)signal(SIGTERM, SIG_IGN);
  };
  LauncherProcess launcher(bundle, {"agent", bundle.WriteList(ListOf({Item("r", REPORT_PROGRAM, {report})}))}, options);
  ASSERT_TRUE(WaitUntil([&] { return std::filesystem::exists(report); }));
  EXPECT_EQ(Reported(report, "blocked"), std::vector<std::string>{std::to_string(SIGUSR1)});
  // What was ignored still is, SIGTERM excepted, which the launcher handles itself.
  EXPECT_EQ(Reported(report, "not_default"), std::vector<std::string>{std::to_string(SIGHUP)});
}

TEST(Program, EndsOnSigterm) {
  const Bundle bundle(Bundle::Logger::kRecording);
  LauncherProcess launcher(bundle, bundle.WriteList(ListOf({ShellItem("self", "kill -TERM $$; sleep 100000")})));
  ASSERT_TRUE(WaitUntil([&] { return !EndsOf(bundle, "self").empty(); }));
  EXPECT_EQ(StatusOf(EndsOf(bundle, "self")[0]), SIGTERM);
}

// The forked child's end: harmless to the siblings and to the launcher, whether `main` waits already or not.
TEST(EmptyProgram, IsLoggedInTheChildWhichEndsWithStatusZeroAndIsRestarted) {
  JsonObject without_program = Item("none", "");
  (void)without_program.Remove("program");
  for (const JsonObject& none : {Item("none", ""), without_program}) {
    const Bundle bundle(Bundle::Logger::kRecording);
    const std::string report = bundle.PathOf("report");
    LauncherProcess launcher(bundle, bundle.WriteList(ListOf({Item("sibling", REPORT_PROGRAM, {report}), none})));
    ASSERT_TRUE(WaitUntil([&] { return StartsOf(bundle, "none").size() >= 3; }));
    const auto complaints = LoggedWith(bundle.recording(), "[LAUNCHER  ] program path of none is empty");
    const auto ends = EndsOf(bundle, "none");
    ASSERT_GE(ends.size(), 2U);
    ASSERT_GE(complaints.size(), 2U);
    EXPECT_NE(complaints[0].process, launcher.pid());
    EXPECT_EQ(complaints[0].level, LOGLEVEL_ERROR);
    EXPECT_EQ(StatusOf(ends[0]), 0);
    EXPECT_EQ(StatusOf(ends[1]), 0);
    EXPECT_GE(StartsOf(bundle, "none")[2].milliseconds - ends[1].milliseconds, 1995);
    EXPECT_TRUE(EndsOf(bundle, "sibling").empty());
    EXPECT_EQ(StartsOf(bundle, "sibling").size(), 1U);
    EXPECT_EQ(launcher.Stop(), 1);
  }
}

TEST(FailedExec, OfARunOnceItemEndsTheChildWithStatusZeroAndHarmsNobody) {
  const Bundle bundle(Bundle::Logger::kRecording);
  const auto list = ListOf({SleepingItem("sibling"), RunOnce(Item("missing", "/nonexistent/program"))});
  LauncherProcess launcher(bundle, bundle.WriteList(list));
  ASSERT_TRUE(WaitUntil([&] { return EndsOf(bundle, "missing").size() == 1; }));
  EXPECT_EQ(StatusOf(EndsOf(bundle, "missing")[0]), 0);
  EXPECT_EQ(EndsOf(bundle, "missing")[0].process, launcher.pid());
  EXPECT_TRUE(EndsOf(bundle, "sibling").empty());
  EXPECT_EQ(launcher.Stop(), 1);
}

TEST(FailedExec, LeavesTheChildAsASecondSupervisor) {
  const Bundle bundle(Bundle::Logger::kRecording);
  LauncherProcess launcher(bundle, bundle.WriteList(ListOf({Item("missing", "/nonexistent/program")})));
  // The launcher starts it once and waits; each child starts the next after its own pause.
  ASSERT_TRUE(WaitUntil([&] { return StartsOf(bundle, "missing").size() >= 3; }));
  const auto starts = StartsOf(bundle, "missing");
  std::set<pid_t> processes;
  for (const RecordedCall& start : starts) processes.insert(start.process);
  EXPECT_EQ(processes.size(), starts.size());
  EXPECT_EQ(starts[0].process, launcher.pid());
  EXPECT_GE(starts[1].milliseconds - starts[0].milliseconds, 995);
  EXPECT_GE(starts[2].milliseconds - starts[1].milliseconds, 1995);
  EXPECT_TRUE(EndsOf(bundle, "missing").empty());
}

TEST(FailedExec, TriesAgainInTheSecondSupervisor) {
  const Bundle bundle(Bundle::Logger::kRecording);
  const std::string program = bundle.PathOf("late");
  LauncherProcess launcher(bundle, bundle.WriteList(ListOf({Item("late", program)})));
  // The launcher's own attempt has failed when the second supervisor starts it, which may find it or not, and so on.
  ASSERT_TRUE(WaitUntil([&] { return StartsOf(bundle, "late").size() >= 2; }));
  WriteFile(program + ".unfinished", "#!/bin/sh\nexit 4\n");
  std::filesystem::permissions(program + ".unfinished", std::filesystem::perms::owner_all);
  std::filesystem::rename(program + ".unfinished", program);
  ASSERT_TRUE(WaitUntil([&] { return !EndsOf(bundle, "late").empty(); }));
  EXPECT_NE(EndsOf(bundle, "late")[0].process, launcher.pid());
  EXPECT_EQ(StatusOf(EndsOf(bundle, "late")[0]), 4 << 8);
}

TEST(BadItem, WithAProgramThatIsAnObjectEndsTheWholeLauncher) {
  const Bundle bundle(Bundle::Logger::kRecording);
  JsonObject item = Item("a", "");
  item.Insert("program", JsonObject::GetEmptyObject());
  LauncherProcess launcher(bundle, bundle.WriteList(ListOf({item})));
  const std::optional<int> status = launcher.WaitStatus();
  ASSERT_TRUE(status);
  EXPECT_EQ(*status & 0x7F, SIGABRT);
}

// Not before: the program is started, and its first end is logged.
TEST(BadItem, WithARunOnceThatIsATextEndsTheWholeLauncherAfterTheFirstEnd) {
  const Bundle bundle(Bundle::Logger::kRecording);
  JsonObject item = ShellItem("a", "exit 0");
  item["run_once"] = std::string("text");
  LauncherProcess launcher(bundle, bundle.WriteList(ListOf({item})));
  const std::optional<int> status = launcher.WaitStatus();
  ASSERT_TRUE(status);
  EXPECT_EQ(*status & 0x7F, SIGABRT);
  EXPECT_EQ(EndsOf(bundle, "a").size(), 1U);
}

TEST(BadItem, WithArgumentsInAnArrayEndsOnlyTheChild) {
  const Bundle bundle(Bundle::Logger::kRecording);
  JsonObject item = Item("a", "/bin/true", {"x"});
  item.Insert("args", JsonObject(R"(["x"])"));
  LauncherProcess launcher(bundle, bundle.WriteList(ListOf({item})));
  ASSERT_TRUE(WaitUntil([&] { return EndsOf(bundle, "a").size() >= 2; }));
  EXPECT_EQ(StatusOf(EndsOf(bundle, "a")[0]) & 0x7F, SIGABRT);
  EXPECT_TRUE(launcher.IsRunning());
}

TEST(Enumeration, EndsAtTheFirstMissingNumber) {
  const Bundle bundle(Bundle::Logger::kRecording);
  JsonObject list = JsonObject::GetEmptyObject();
  list.Insert("0", SleepingItem("zero"));
  list.Insert("2", SleepingItem("two"));
  LauncherProcess launcher(bundle, bundle.WriteList(list.ToText()));
  ASSERT_TRUE(WaitUntil([&] { return StartsOf(bundle, "zero").size() == 1; }));
  EXPECT_EQ(launcher.Stop(), 1);  // When everything has been started.
  EXPECT_EQ(LoggedWith(bundle.recording(), "Start to fork").size(), 1U);
}

TEST(Enumeration, SkipsAnItemWithoutNameAndGoesOn) {
  const Bundle bundle(Bundle::Logger::kRecording);
  JsonObject nameless = Item("", "/bin/true");
  (void)nameless.Remove("name");
  LauncherProcess launcher(bundle, bundle.WriteList(ListOf({nameless, SleepingItem("one")})));
  ASSERT_TRUE(WaitUntil([&] { return StartsOf(bundle, "one").size() == 1; }));
  EXPECT_EQ(LoggedWith(bundle.recording(), "[LAUNCHER  ] There is an item has no name.").size(), 1U);
  EXPECT_EQ(LoggedWith(bundle.recording(), "Start to fork").size(), 1U);
}

// A supervisor that is destroyed before its fork has returned would pass 0, the launcher's process group, to `kill`.
// Slow forks make sure that this would happen.
TEST(SameName, ReplacesTheEarlierItemEveryTime) {
  const Bundle bundle(Bundle::Logger::kRecording);
  bundle.SetLogLevel("DEBUG");
  constexpr int kRounds = kSanitized ? 2 : 5;
  constexpr int kLaunchers = 20;
  const std::string list = bundle.WriteList(ListWithEndMark({SleepingItem("twin"), SleepingItem("twin")}));
  for (int round = 0; round < kRounds; ++round) {
    std::vector<std::unique_ptr<LauncherProcess>> launchers;
    LauncherProcess::Options options;
    if (round % 2 == 1) options.environment["RECORDING_FORK_DELAY_MS"] = "100";
    for (int i = 0; i < kLaunchers; ++i) {
      launchers.push_back(std::make_unique<LauncherProcess>(bundle, std::vector<std::string>{"agent", list}, options));
    }
    for (const auto& launcher : launchers) launcher->WaitUntilItWaits();
    const auto starts = StartsOf(bundle, "twin");
    const auto ends = EndsOf(bundle, "twin");
    for (const auto& launcher : launchers) {
      const auto lines_of = [&](const std::vector<RecordedCall>& calls) {
        return std::count_if(calls.begin(), calls.end(),
                             [&](const RecordedCall& call) { return call.process == launcher->pid(); });
      };
      EXPECT_EQ(lines_of(starts), 2);
      EXPECT_EQ(lines_of(ends), 1);
      EXPECT_TRUE(launcher->IsRunning());
    }
    for (const RecordedCall& end : ends) EXPECT_EQ(StatusOf(end), SIGKILL);
    for (const auto& launcher : launchers) launcher->Signal(SIGTERM);
    for (const auto& launcher : launchers) {
      EXPECT_EQ(launcher->ExitStatus(), 1);
      EXPECT_TRUE(WaitUntil([&] { return launcher->NobodyLeft(); }));
    }
  }
}
