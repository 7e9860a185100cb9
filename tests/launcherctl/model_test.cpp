#include "launcherctl/model.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/launcher_table.h"

static std::string StateOf(const ItemKnowledge& item) { return StateName(item.state); }

// --- Items

TEST(Infer, TellsRunningItemsByTheOrderOfTheirThreads) {
  LauncherTable table;
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
  LauncherTable table;
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
  LauncherTable table;
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
  LauncherTable table;
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
  LauncherTable table;
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

TEST(Infer, CountsTheRunsOfTheProgramThatAChainHasStarted) {
  LauncherTable table;
  table.Item("a").Child(4712, table.LauncherLike(101, kLauncher, 0));
  table.Ends(5, "a", 105, 768, 101, 101);
  const ItemKnowledge item = table.ItemAt(6, 0);
  ASSERT_EQ(item.runs.size(), 1U);
  EXPECT_EQ(item.runs[0].pid, 105);
  EXPECT_EQ(item.runs[0].status, 768);
  EXPECT_EQ(item.ends, 1);
  // Once for the start that failed, once for the run.
  EXPECT_EQ(item.pause_seconds, 2);
  EXPECT_EQ(item.next_start_ms, table.ItemAt(6, 0).runs[0].end_ms + 2000);
}

TEST(Infer, ExpectsNoFurtherAttemptWhereARunOnceItemHasFailedToStart) {
  LauncherTable table;
  table.Item("a").RunOnce().Child(4712, table.LauncherLike(101, kLauncher, 0));
  const ItemKnowledge item = table.ItemAt(1, 0);
  EXPECT_EQ(StateOf(item), "failing");
  EXPECT_EQ(item.reason, "not started again: run_once");
  EXPECT_FALSE(item.next_start_ms.has_value());
}

TEST(Infer, TakesNoBusyChildForAFailedStart) {
  LauncherTable table;
  Process child = table.LauncherLike(101, kLauncher, 0);
  child.is_sleeping = false;  // Between its fork and its program.
  table.Item("a").Child(4712, child);
  EXPECT_EQ(StateOf(table.ItemAt(1, 0)), "running");
}

TEST(Infer, TellsWhatIsDoneByItsEnd) {
  LauncherTable table;
  table.Item("a", false).RunOnce().Item("b").Runs(4713, 102, "b", 0).Ends(1, "a", 101, 0, 4712);
  const ItemKnowledge item = table.ItemAt(100, 0);
  EXPECT_EQ(StateOf(item), "done");
  EXPECT_FALSE(item.trouble);
  EXPECT_EQ(StateOf(table.ItemAt(100, 1)), "running");
}

TEST(Infer, TellsWhatIsDoneByAThreadThatIsGoneWhereTheLogDoesNotTell) {
  LauncherTable table;
  table.log_shows_ends = false;
  table.Item("a", false).RunOnce().Item("b").Runs(4713, 102, "b", 0);
  const ItemKnowledge item = table.ItemAt(100, 0);
  EXPECT_EQ(StateOf(item), "done");
  EXPECT_FALSE(item.reason.empty());
}

TEST(Infer, TellsAFailedFork) {
  LauncherTable table;
  table.Item("a", false).Item("b").Runs(4713, 102, "b", 0).Logs(5, "ERROR", "Failed to fork a", 4712);
  const LauncherKnowledge known = table.At(100);
  EXPECT_EQ(StateOf(known.items[0]), "given-up");
  EXPECT_TRUE(known.items[0].trouble);
  EXPECT_TRUE(known.fork_has_failed);
}

TEST(Infer, CallsAMissingSupervisorUnknown) {
  LauncherTable table;
  table.Item("a", false).Item("b").Runs(4713, 102, "b", 0);
  const ItemKnowledge item = table.ItemAt(100, 0);
  EXPECT_EQ(StateOf(item), "unknown");
  EXPECT_TRUE(item.trouble);
  EXPECT_FALSE(item.reason.empty());
}

TEST(Infer, TellsTheReplacedFromItsSuccessor) {
  LauncherTable table;
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
  LauncherTable table;
  table.Item("a").Fate(PlannedItem::Fate::kReplaced).Item("b").Item("a").Item("c", false);
  table.Runs(4712, 101, "a", 0).Runs(4713, 102, "b", 0).Runs(4714, 103, "a", 0);
  table.Starts(0, "a", 4712).Starts(0, "a", 4714);
  const LauncherKnowledge known = table.At(1);
  EXPECT_EQ(known.phase, Phase::kStarting);
  EXPECT_EQ(StateOf(known.items[0]), "replaced");
  EXPECT_EQ(known.items[2].pid, 103);
}

TEST(Infer, TellsWhatWasNeverRead) {
  LauncherTable table;
  table.Item("a").Runs(4712, 101, "a", 0);
  table.Item("b", false).Fate(PlannedItem::Fate::kSkipped).Item("c", false).Fate(PlannedItem::Fate::kNeverRead);
  const LauncherKnowledge known = table.At(100);
  EXPECT_EQ(StateOf(known.items[1]), "skipped");
  EXPECT_EQ(StateOf(known.items[2]), "never-read");
  EXPECT_TRUE(known.items[1].trouble && known.items[2].trouble);
}

TEST(Infer, TellsAnItemWithoutAProgram) {
  LauncherTable table;
  table.Item("a");
  table.items[0].program.clear();
  table.Logs(1, "ERROR", "program path of a is empty", 101, 101).Ends(1, "a", 101, 0, 4712);
  const ItemKnowledge item = table.ItemAt(1, 0);
  EXPECT_EQ(StateOf(item), "no-program");
  EXPECT_TRUE(item.trouble);
}

TEST(Infer, LeavesOutRecordsOfAnEarlierProcessWithTheSameNumber) {
  LauncherTable table;
  table.Ends(-500, "a", 99, 256, 4712).Item("a").Runs(4712, 101, "a", 0);
  EXPECT_EQ(table.ItemAt(100, 0).ends, 0);
}

// --- What the log lacks

TEST(Infer, CallsEndsInexactWhenTheLogWasBegunLater) {
  LauncherTable table;
  table.log_born_seconds = 500;
  table.Item("a").Ends(600, "a", 101, 256, 4712);
  const ItemKnowledge item = table.ItemAt(601, 0);
  EXPECT_EQ(StateOf(item), "pausing");
  EXPECT_FALSE(item.ends_exact);
  EXPECT_FALSE(item.next_start_ms.has_value());
}

TEST(Infer, CountsRunsByTheirPausesWhereStartsAreLoggedAndTheLogWasCut) {
  LauncherTable table;
  table.log_born_seconds = 500;
  table.Item("a").Ends(600, "a", 101, 256, 4712).Starts(607, "a", 4712).Ends(608, "a", 102, 256, 4712);
  const ItemKnowledge item = table.ItemAt(609, 0);
  EXPECT_EQ(item.pause_seconds, 8);
  EXPECT_EQ(item.next_start_ms, kStart + 616050);
}

TEST(Infer, CallsEndsInexactWhenRecordsWereLost) {
  LauncherTable table;
  table.Item("a").Ends(10, "a", 101, 256, 4712);
  table.text += "2026-11-21T10:00:11.000+00:00 ERROR    launcher 4711 4712 [LOGGER    ] 3 records lost, errno 28\n";
  EXPECT_FALSE(table.ItemAt(11, 0).ends_exact);
}

TEST(Infer, CallsEndsInexactWhenAStartCameLaterThanThePause) {
  LauncherTable table;
  table.Item("a").Ends(100, "a", 101, 256, 4712).Runs(4712, 102, "a", 180);
  EXPECT_FALSE(table.ItemAt(200, 0).ends_exact);
}

TEST(Infer, KnowsRunningItemsWithoutAnyLog) {
  LauncherTable table;
  table.no_log = true;
  table.Item("a").Runs(4712, 101, "a", 0);
  const ItemKnowledge item = table.ItemAt(100, 0);
  EXPECT_EQ(StateOf(item), "running");
  EXPECT_FALSE(item.ends_exact);
}

TEST(Infer, TellsItemsOfAChangedListByNamesAndCommandsAlone) {
  LauncherTable table;
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
  LauncherTable table;
  table.Launcher().threads.push_back({4700, kStart, std::vector<int32_t>{}});
  table.Item("a").Item("b").Runs(4712, 101, "a", 0).Runs(4713, 102, "b", 0);
  const LauncherKnowledge known = table.At(100);
  EXPECT_EQ(known.items[0].pid, 101);
  EXPECT_EQ(known.items[1].pid, 102);
}

TEST(Infer, MatchesChildrenByTheirCommandsWhereThreadsDoNotTell) {
  LauncherTable table;
  table.Item("a").Item("b").Runs(4713, 101, "b", 1).Runs(4712, 102, "a", 2);
  for (ProcessThread& thread : table.Launcher().threads) thread.children.reset();
  const LauncherKnowledge known = table.At(100);
  EXPECT_EQ(known.items[0].pid, 102);
  EXPECT_EQ(known.items[1].pid, 101);
}

// --- Hostile names

TEST(Infer, TakesAnOddNamesEndForNoFailedForkWhileItsThreadIsThere) {
  LauncherTable table;
  table.Item("Failed to fork x").Ends(10, "Failed to fork x", 101, 256, 4712);
  const LauncherKnowledge known = table.At(11);
  EXPECT_EQ(StateOf(known.items[0]), "pausing");
  EXPECT_FALSE(known.fork_may_have_failed);
}

TEST(Infer, SaysThatALineMayBeAFailedForkWhenItsThreadIsGone) {
  LauncherTable table;
  table.Item("x 101 is killed. ret = 101, status = 0", false);
  table.Logs(10, "ERROR", "Failed to fork x 101 is killed. ret = 101, status = 0", 4712);
  EXPECT_TRUE(table.At(11).fork_may_have_failed);
}

// --- Phases

TEST(Infer, TellsThePhaseByTheActionForSigterm) {
  LauncherTable table;
  table.Item("a").Runs(4712, 101, "a", 0);
  EXPECT_EQ(table.At(100).phase, Phase::kSupervising);
  table.Launcher().is_sigterm_blocked = true;
  EXPECT_EQ(table.At(100).phase, Phase::kStopping);
  table.Launcher().sigterm = SigtermAction::kIgnored;
  EXPECT_EQ(table.At(100).phase, Phase::kEnding);
}

TEST(Infer, SaysStartingWhileThreadsAreMissingOfAYoungLauncher) {
  LauncherTable table;
  table.Item("a").Item("b", false).Runs(4712, 101, "a", 0);
  EXPECT_EQ(table.At(1).phase, Phase::kStarting);
  EXPECT_EQ(table.At(100).phase, Phase::kSupervising);
}

TEST(Infer, SaysReadingWhereNoFileStandsInAFilesPlace) {
  LauncherTable table;
  table.waits_on_no_file = true;
  EXPECT_EQ(table.At(100).phase, Phase::kReading);
}
