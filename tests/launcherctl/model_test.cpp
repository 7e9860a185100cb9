// What the model infers, on tables: no process is started, and no clock is asked.

#include "launcherctl/model.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "launcherctl/clock_text.h"

static constexpr int64_t kStart = 1795255200000;  // 2026-11-21 10:00:00 UTC
static constexpr int32_t kLauncher = 4711;

// A launcher that was started at `kStart` with its items' threads 4712, 4713, ..., and what is told of it.
class Table {
 public:
  Table() {
    Process launcher = LauncherLike(kLauncher, 1, 0);
    launcher.sigterm = SigtermAction::kCaught;
    launcher.is_sigterm_blocked = false;
    launcher.threads.push_back({kLauncher, kStart, std::vector<int32_t>{}});
    table.processes.push_back(launcher);
  }

  // Adds an item, with a thread unless it has none any more.
  Table& Item(const std::string& name, bool has_thread = true) {
    PlannedItem item;
    item.number = static_cast<int64_t>(items.size());
    item.name = name;
    item.program = "/bin/" + name;
    item.command = {"/bin/" + name, "x"};
    items.push_back(item);
    ++next_thread;
    if (has_thread) Launcher().threads.push_back({next_thread, kStart, std::vector<int32_t>{}});
    return *this;
  }
  Table& RunOnce() {
    items.back().run_once = true;
    return *this;
  }
  Table& Fate(PlannedItem::Fate fate) {
    items.back().fate = fate;
    return *this;
  }

  // A child of the thread, `seconds` after the start.
  Table& Runs(uint64_t thread, int32_t pid, const std::string& name, int64_t seconds) {
    Process program;
    program.pid = pid;
    program.parent = kLauncher;
    program.started_ms = kStart + seconds * 1000;
    program.start_mark = program.started_ms;
    program.executable = "/bin/" + name;
    program.arguments = {"/bin/" + name, "x"};
    return Child(thread, program);
  }
  Table& Child(uint64_t thread, const Process& process) {
    Add(process);
    for (ProcessThread& known : Launcher().threads) {
      if (known.id == thread) known.children->push_back(process.pid);
    }
    return *this;
  }
  // A second supervisor.
  Process LauncherLike(int32_t pid, int32_t parent, int64_t seconds) const {
    Process process;
    process.pid = pid;
    process.parent = parent;
    process.started_ms = kStart + seconds * 1000;
    process.start_mark = process.started_ms;
    process.executable = "/Pellux.app/Contents/MacOS/launcher";
    process.arguments = {process.executable, "agent", "/list.json"};
    process.sigterm = SigtermAction::kDefault;
    process.is_sleeping = true;
    return process;
  }
  Table& Add(const Process& process) {
    auto place = table.processes.begin();
    while (place != table.processes.end() && place->pid < process.pid) ++place;
    table.processes.insert(place, process);
    return *this;
  }

  Table& Logs(int64_t seconds, const std::string& level, const std::string& message, uint64_t thread,
              int32_t process = kLauncher) {
    const int64_t time_ms = kStart + seconds * 1000 + 50;
    (void)setenv("TZ", "UTC0", 1);
    text += Rfc3339(time_ms) + " " + level + "    launcher " + std::to_string(process) + " " + std::to_string(thread) +
            " [LAUNCHER  ] " + message + "\n";
    return *this;
  }
  Table& Ends(int64_t seconds, const std::string& name, int32_t pid, int status, uint64_t thread,
              int32_t process = kLauncher) {
    const std::string number = std::to_string(pid);
    return Logs(seconds, "ERROR",
                name + " " + number + " is killed. ret = " + number + ", status = " + std::to_string(status), thread,
                process);
  }
  Table& Starts(int64_t seconds, const std::string& name, uint64_t thread) {
    return Logs(seconds, "DEBUG", "Start to fork " + name, thread);
  }

  LauncherKnowledge At(int64_t seconds) {
    log = std::make_unique<Log>(ParseLog(no_log ? std::vector<std::string>{} : std::vector<std::string>{text}));
    if (!no_log) log->files[0].born_ms = kStart + log_born_seconds * 1000;
    LauncherFacts facts;
    facts.process = &Launcher();
    facts.table = &table;
    facts.log = log.get();
    facts.items = items;
    facts.list_was_changed = list_was_changed;
    facts.waits_on_no_file = waits_on_no_file;
    facts.log_shows_ends = log_shows_ends;
    facts.now_ms = kStart + seconds * 1000;
    return Infer(facts);
  }
  ItemKnowledge ItemAt(int64_t seconds, size_t index) { return At(seconds).items.at(index); }

  Process& Launcher() {
    for (Process& process : table.processes) {
      if (process.pid == kLauncher) return process;
    }
    return table.processes.front();
  }

  ProcessTable table;
  std::vector<PlannedItem> items;
  std::string text;
  bool no_log = false;
  bool list_was_changed = false;
  bool waits_on_no_file = false;
  bool log_shows_ends = true;
  int64_t log_born_seconds = 0;

 private:
  std::unique_ptr<Log> log;
  uint64_t next_thread = kLauncher;
};

static std::string StateOf(const ItemKnowledge& item) { return StateName(item.state); }

// --- Items

TEST(Infer, TellsRunningItemsByTheOrderOfTheirThreads) {
  Table table;
  table.Item("a").Item("b").Runs(4713, 101, "b", 1).Runs(4712, 102, "a", 2);
  const LauncherKnowledge known = table.At(100);
  EXPECT_EQ(known.phase, Phase::kSupervising);
  EXPECT_EQ(StateOf(known.items[0]), "running");
  EXPECT_EQ(known.items[0].pid, 102);
  EXPECT_EQ(known.items[0].since_ms, kStart + 2000);
  EXPECT_EQ(known.items[1].pid, 101);
  EXPECT_FALSE(known.items[0].trouble);
  EXPECT_TRUE(known.items[0].ends_exact);
}

TEST(Infer, TellsAPauseByTheNumberOfEnds) {
  Table table;
  table.Item("a").Ends(100, "a", 101, 256, 4712).Ends(201, "a", 102, 256, 4712);
  const ItemKnowledge item = table.ItemAt(202, 0);
  EXPECT_EQ(StateOf(item), "pausing");
  EXPECT_EQ(item.ends, 2);
  EXPECT_EQ(item.pause_seconds, 2);
  EXPECT_EQ(item.since_ms, kStart + 201050);
  EXPECT_EQ(item.next_start_ms, kStart + 203050);
  EXPECT_FALSE(item.trouble);  // It ran for more than a minute.
  ASSERT_EQ(item.runs.size(), 2U);
  EXPECT_EQ(item.runs[1].start_ms, kStart + 101050);  // The end before it and a second.
}

TEST(Infer, TellsACrashLoopByThreeShortRuns) {
  Table table;
  table.Item("a").Ends(1, "a", 101, 11, 4712).Ends(3, "a", 102, 11, 4712);
  EXPECT_FALSE(table.ItemAt(4, 0).trouble);
  table.Ends(6, "a", 103, 11, 4712);
  EXPECT_TRUE(table.ItemAt(7, 0).is_crash_loop);
  EXPECT_TRUE(table.ItemAt(7, 0).trouble);
  // The next run lasts: after a minute that is over.
  table.Runs(4712, 104, "a", 9);
  EXPECT_TRUE(table.ItemAt(10, 0).trouble);
  EXPECT_FALSE(table.ItemAt(70, 0).trouble);
}

TEST(Infer, TellsFailedStartsAndTheNextAttempt) {
  Table table;
  table.Item("a").Item("b").Runs(4712, 100, "a", 0);
  table.Child(4713, table.LauncherLike(101, kLauncher, 0));
  table.Add(table.LauncherLike(105, 101, 1)).Add(table.LauncherLike(109, 105, 3));
  const ItemKnowledge item = table.ItemAt(4, 1);
  EXPECT_EQ(StateOf(item), "failing");
  EXPECT_TRUE(item.trouble);
  EXPECT_FALSE(item.pid.has_value());
  EXPECT_EQ(item.chain, (std::vector<int32_t>{101, 105, 109}));
  EXPECT_EQ(item.pause_seconds, 3);
  EXPECT_EQ(item.next_start_ms, kStart + 6000);
}

TEST(Infer, TellsAProgramThatTheLastOfAChainRuns) {
  Table table;
  table.Item("a").Child(4712, table.LauncherLike(101, kLauncher, 0));
  Process program;
  program.pid = 105;
  program.parent = 101;
  program.started_ms = kStart + 1000;
  program.executable = "/bin/a";
  table.Add(program);
  const ItemKnowledge item = table.ItemAt(4, 0);
  EXPECT_EQ(StateOf(item), "running");
  EXPECT_EQ(item.pid, 105);
  EXPECT_EQ(item.chain, std::vector<int32_t>{101});
}

TEST(Infer, TakesNoBusyChildForAFailedStart) {
  Table table;
  Process child = table.LauncherLike(101, kLauncher, 0);
  child.is_sleeping = false;  // Between its fork and its program.
  table.Item("a").Child(4712, child);
  EXPECT_EQ(StateOf(table.ItemAt(1, 0)), "running");
}

TEST(Infer, TellsWhatIsDoneByItsEnd) {
  Table table;
  table.Item("a", false).RunOnce().Item("b").Runs(4713, 102, "b", 0).Ends(1, "a", 101, 0, 4712);
  const ItemKnowledge item = table.ItemAt(100, 0);
  EXPECT_EQ(StateOf(item), "done");
  EXPECT_FALSE(item.trouble);
  EXPECT_EQ(StateOf(table.ItemAt(100, 1)), "running");
}

TEST(Infer, TellsWhatIsDoneByAThreadThatIsGoneWhereTheLogDoesNotTell) {
  Table table;
  table.log_shows_ends = false;
  table.Item("a", false).RunOnce().Item("b").Runs(4713, 102, "b", 0);
  const ItemKnowledge item = table.ItemAt(100, 0);
  EXPECT_EQ(StateOf(item), "done");
  EXPECT_FALSE(item.reason.empty());
}

TEST(Infer, TellsAFailedFork) {
  Table table;
  table.Item("a", false).Item("b").Runs(4713, 102, "b", 0).Logs(5, "ERROR", "Failed to fork a", 4712);
  const LauncherKnowledge known = table.At(100);
  EXPECT_EQ(StateOf(known.items[0]), "given-up");
  EXPECT_TRUE(known.items[0].trouble);
  EXPECT_TRUE(known.fork_has_failed);
}

TEST(Infer, CallsAMissingSupervisorUnknown) {
  Table table;
  table.Item("a", false).Item("b").Runs(4713, 102, "b", 0);
  const ItemKnowledge item = table.ItemAt(100, 0);
  EXPECT_EQ(StateOf(item), "unknown");
  EXPECT_TRUE(item.trouble);
  EXPECT_FALSE(item.reason.empty());
}

TEST(Infer, TellsTheReplacedFromItsSuccessor) {
  Table table;
  table.Item("a", false).Fate(PlannedItem::Fate::kReplaced).Item("b").Item("a");
  table.Runs(4713, 102, "b", 0).Runs(4714, 103, "a", 0).Ends(0, "a", 101, 9, 4712);
  const LauncherKnowledge known = table.At(100);
  EXPECT_EQ(StateOf(known.items[0]), "replaced");
  EXPECT_EQ(StateOf(known.items[1]), "running");
  EXPECT_EQ(StateOf(known.items[2]), "running");
  EXPECT_EQ(known.items[2].pid, 103);
  EXPECT_EQ(known.items[2].ends, 0);
}

TEST(Infer, TellsItemsOfOneNameApartWhileBothAreThere) {
  Table table;
  table.Item("a").Fate(PlannedItem::Fate::kReplaced).Item("b").Item("a").Item("c", false);
  table.Runs(4712, 101, "a", 0).Runs(4713, 102, "b", 0).Runs(4714, 103, "a", 0);
  table.Starts(0, "a", 4712).Starts(0, "a", 4714);
  const LauncherKnowledge known = table.At(1);
  EXPECT_EQ(known.phase, Phase::kStarting);
  EXPECT_EQ(StateOf(known.items[0]), "replaced");
  EXPECT_EQ(known.items[2].pid, 103);
}

TEST(Infer, TellsWhatWasNeverRead) {
  Table table;
  table.Item("a").Runs(4712, 101, "a", 0);
  table.Item("b", false).Fate(PlannedItem::Fate::kSkipped).Item("c", false).Fate(PlannedItem::Fate::kNeverRead);
  const LauncherKnowledge known = table.At(100);
  EXPECT_EQ(StateOf(known.items[1]), "skipped");
  EXPECT_EQ(StateOf(known.items[2]), "never-read");
  EXPECT_TRUE(known.items[1].trouble && known.items[2].trouble);
}

TEST(Infer, TellsAnItemWithoutAProgram) {
  Table table;
  table.Item("a");
  table.items[0].program.clear();
  table.Logs(1, "ERROR", "program path of a is empty", 101, 101).Ends(1, "a", 101, 0, 4712);
  const ItemKnowledge item = table.ItemAt(1, 0);
  EXPECT_EQ(StateOf(item), "no-program");
  EXPECT_TRUE(item.trouble);
}

TEST(Infer, LeavesOutRecordsOfAnEarlierProcessWithTheSameNumber) {
  Table table;
  table.Ends(-500, "a", 99, 256, 4712).Item("a").Runs(4712, 101, "a", 0);
  EXPECT_EQ(table.ItemAt(100, 0).ends, 0);
}

// --- What the log lacks

TEST(Infer, CallsEndsInexactWhenTheLogWasBegunLater) {
  Table table;
  table.log_born_seconds = 500;
  table.Item("a").Ends(600, "a", 101, 256, 4712);
  const ItemKnowledge item = table.ItemAt(601, 0);
  EXPECT_EQ(StateOf(item), "pausing");
  EXPECT_FALSE(item.ends_exact);
  EXPECT_FALSE(item.next_start_ms.has_value());
}

TEST(Infer, CountsRunsByTheirPausesWhereStartsAreLoggedAndTheLogWasCut) {
  Table table;
  table.log_born_seconds = 500;
  table.Item("a").Ends(600, "a", 101, 256, 4712).Starts(607, "a", 4712).Ends(608, "a", 102, 256, 4712);
  const ItemKnowledge item = table.ItemAt(609, 0);
  EXPECT_EQ(item.pause_seconds, 8);
  EXPECT_EQ(item.next_start_ms, kStart + 616050);
}

TEST(Infer, CallsEndsInexactWhenRecordsWereLost) {
  Table table;
  table.Item("a").Ends(10, "a", 101, 256, 4712);
  table.text += "2026-11-21T10:00:11.000+00:00 ERROR    launcher 4711 4712 [LOGGER    ] 3 records lost, errno 28\n";
  EXPECT_FALSE(table.ItemAt(11, 0).ends_exact);
}

TEST(Infer, CallsEndsInexactWhenAStartCameLaterThanThePause) {
  Table table;
  table.Item("a").Ends(100, "a", 101, 256, 4712).Runs(4712, 102, "a", 180);
  EXPECT_FALSE(table.ItemAt(200, 0).ends_exact);
}

TEST(Infer, KnowsRunningItemsWithoutAnyLog) {
  Table table;
  table.no_log = true;
  table.Item("a").Runs(4712, 101, "a", 0);
  const ItemKnowledge item = table.ItemAt(100, 0);
  EXPECT_EQ(StateOf(item), "running");
  EXPECT_FALSE(item.ends_exact);
}

TEST(Infer, TellsItemsOfAChangedListByNamesAndCommandsAlone) {
  Table table;
  table.list_was_changed = true;
  table.Item("a").Item("b").Item("c").Runs(4712, 101, "b", 50);  // The first thread runs b's program.
  table.Ends(50, "gone", 99, 256, 4713);
  const LauncherKnowledge known = table.At(60);
  ASSERT_EQ(known.items.size(), 4U);
  EXPECT_EQ(StateOf(known.items[0]), "unknown");
  EXPECT_EQ(StateOf(known.items[1]), "running");
  EXPECT_EQ(known.items[3].name, "gone");
  EXPECT_FALSE(known.items[3].number.has_value());
}

TEST(Infer, PassesOverAThreadThatSupervisesNothing) {
  Table table;
  table.Launcher().threads.push_back({4700, kStart, std::vector<int32_t>{}});
  table.Item("a").Item("b").Runs(4712, 101, "a", 0).Runs(4713, 102, "b", 0);
  const LauncherKnowledge known = table.At(100);
  EXPECT_EQ(known.items[0].pid, 101);
  EXPECT_EQ(known.items[1].pid, 102);
}

TEST(Infer, MatchesChildrenByTheirCommandsWhereThreadsDoNotTell) {
  Table table;
  table.Item("a").Item("b").Runs(4713, 101, "b", 1).Runs(4712, 102, "a", 2);
  for (ProcessThread& thread : table.Launcher().threads) thread.children.reset();
  const LauncherKnowledge known = table.At(100);
  EXPECT_EQ(known.items[0].pid, 102);
  EXPECT_EQ(known.items[1].pid, 101);
}

// --- Hostile names

TEST(Infer, TakesAnOddNamesEndForNoFailedForkWhileItsThreadIsThere) {
  Table table;
  table.Item("Failed to fork x").Ends(10, "Failed to fork x", 101, 256, 4712);
  const LauncherKnowledge known = table.At(11);
  EXPECT_EQ(StateOf(known.items[0]), "pausing");
  EXPECT_FALSE(known.fork_may_have_failed);
}

TEST(Infer, SaysThatALineMayBeAFailedForkWhenItsThreadIsGone) {
  Table table;
  table.Item("x 101 is killed. ret = 101, status = 0", false);
  table.Logs(10, "ERROR", "Failed to fork x 101 is killed. ret = 101, status = 0", 4712);
  EXPECT_TRUE(table.At(11).fork_may_have_failed);
}

// --- Phases

TEST(Infer, TellsThePhaseByTheActionForSigterm) {
  Table table;
  table.Item("a").Runs(4712, 101, "a", 0);
  EXPECT_EQ(table.At(100).phase, Phase::kSupervising);
  table.Launcher().is_sigterm_blocked = true;
  EXPECT_EQ(table.At(100).phase, Phase::kStopping);
  table.Launcher().sigterm = SigtermAction::kIgnored;
  EXPECT_EQ(table.At(100).phase, Phase::kEnding);
}

TEST(Infer, SaysStartingWhileThreadsAreMissingOfAYoungLauncher) {
  Table table;
  table.Item("a").Item("b", false).Runs(4712, 101, "a", 0);
  EXPECT_EQ(table.At(1).phase, Phase::kStarting);
  EXPECT_EQ(table.At(100).phase, Phase::kSupervising);
}

TEST(Infer, SaysReadingWhereNoFileStandsInAFilesPlace) {
  Table table;
  table.waits_on_no_file = true;
  EXPECT_EQ(table.At(100).phase, Phase::kReading);
}

// --- The stop

static std::string NobodyHas(int32_t) { return ""; }

TEST(JudgeStop, AddsThePausesUp) {
  Table table;
  table.Item("a").Item("b").Runs(4712, 101, "a", 0).Ends(100, "b", 102, 256, 4713).Ends(201, "b", 103, 256, 4713);
  const StopOutlook outlook = JudgeStop(table.At(202), kStart + 202000, &NobodyHas);
  EXPECT_TRUE(outlook.is_safe) << outlook.reason;
  EXPECT_EQ(outlook.seconds_at_least, 2);
  EXPECT_EQ(outlook.seconds_at_most, 5);
}

TEST(JudgeStop, RefusesAfterAFailedFork) {
  Table table;
  table.Item("a", false).Logs(5, "ERROR", "Failed to fork a", 4712);
  EXPECT_FALSE(JudgeStop(table.At(100), kStart, &NobodyHas).is_safe);
}

TEST(JudgeStop, RefusesWhereASupervisorIsGoneAndTheLogDoesNotTellWhy) {
  Table gone;
  gone.Item("a", false).Item("b").Runs(4713, 102, "b", 0);
  gone.log_born_seconds = 500;
  EXPECT_FALSE(JudgeStop(gone.At(1000), kStart, &NobodyHas).is_safe);
  gone.log_born_seconds = 0;
  gone.log_shows_ends = false;
  EXPECT_FALSE(JudgeStop(gone.At(1000), kStart, &NobodyHas).is_safe);
}

TEST(JudgeStop, IsSafeWithoutALogWhileEverySupervisorIsThereAndRuns) {
  Table table;
  table.no_log = true;
  table.Item("a").Item("b").Runs(4712, 101, "a", 0).Runs(4713, 102, "b", 0);
  const StopOutlook outlook = JudgeStop(table.At(100), kStart, &NobodyHas);
  EXPECT_TRUE(outlook.is_safe) << outlook.reason;
  EXPECT_FALSE(outlook.seconds_at_most.has_value());
}

TEST(JudgeStop, RefusesWhereANumberBelongsToSomebodyElseByNow) {
  const auto owner = [](int32_t pid) { return pid == 101 ? std::string("process 101 (/bin/vim)") : std::string(); };
  Table pausing;
  pausing.Item("a").Ends(100, "a", 101, 256, 4712);
  const StopOutlook outlook = JudgeStop(pausing.At(100), kStart, owner);
  EXPECT_FALSE(outlook.is_safe);
  EXPECT_NE(outlook.reason.find("/bin/vim"), std::string::npos);
  Table done;
  done.Item("a", false).RunOnce().Ends(100, "a", 101, 0, 4712);
  EXPECT_FALSE(JudgeStop(done.At(200), kStart, owner).is_safe);
  EXPECT_TRUE(JudgeStop(done.At(200), kStart, &NobodyHas).is_safe);
}

TEST(JudgeStop, RefusesInEveryPhaseButTheOne) {
  Table table;
  table.waits_on_no_file = true;
  EXPECT_FALSE(JudgeStop(table.At(100), kStart, &NobodyHas).is_safe);
  Table stopping;
  stopping.Item("a").Runs(4712, 101, "a", 0);
  stopping.Launcher().is_sigterm_blocked = true;
  EXPECT_FALSE(JudgeStop(stopping.At(100), kStart, &NobodyHas).is_safe);
}

// --- Leftovers

TEST(FindLeftovers, AreChainsAndWhatTheyRun) {
  Table table;
  table.table.processes.clear();
  table.Add(table.LauncherLike(101, 1, 0)).Add(table.LauncherLike(105, 101, 1));
  Process program;
  program.pid = 107;
  program.parent = 105;
  program.arguments = {"/bin/a", "x"};
  table.Add(program).Item("a");
  const auto left = FindLeftovers(table.table, {}, {}, table.items);
  ASSERT_EQ(left.size(), 3U);
  EXPECT_FALSE(left[0].is_program);
  EXPECT_TRUE(left[2].is_program);
  EXPECT_EQ(left[2].item, "a");
}

TEST(FindLeftovers, AreProgramsThatHaveLostTheirLauncher) {
  Table table;
  table.table.processes.clear();
  Process program;
  program.pid = 107;
  program.parent = 1;
  program.group = kLauncher;
  program.arguments = {"/bin/a", "x"};
  Process other = program;
  other.pid = 108;
  other.arguments = {"/bin/vim"};
  Process of_somebody = program;
  of_somebody.pid = 109;
  of_somebody.group = 109;  // Started by hand.
  table.Add(program).Add(other).Add(of_somebody).Item("a");
  const auto left = FindLeftovers(table.table, {}, {kLauncher}, table.items);
  ASSERT_EQ(left.size(), 1U);
  EXPECT_EQ(left[0].pid, 107);
  EXPECT_EQ(left[0].launcher, kLauncher);
}

TEST(FindLeftovers, AreNothingThatARunningLauncherHas) {
  Table table;
  table.Item("a").Child(4712, table.LauncherLike(101, kLauncher, 0));
  const auto left = FindLeftovers(table.table, {&table.Launcher()}, {}, table.items);
  EXPECT_TRUE(left.empty());
}
