#include "launcherctl/stop_outlook.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/launcher_table.h"

static std::string NobodyHas(int32_t) { return ""; }

TEST(JudgeStop, AddsThePausesUp) {
  LauncherTable table;
  table.Item("a").Item("b").Runs(4712, 101, "a", 0).Ends(100, "b", 102, 256, 4713).Ends(201, "b", 103, 256, 4713);
  const StopOutlook outlook = JudgeStop(table.At(202), kStart + 202000, &NobodyHas);
  EXPECT_TRUE(outlook.is_safe) << outlook.reason;
  EXPECT_EQ(outlook.seconds_at_least, 2);
  EXPECT_EQ(outlook.seconds_at_most, 5);
}

TEST(JudgeStop, RefusesAfterAFailedFork) {
  LauncherTable table;
  table.Item("a", false).Logs(5, "ERROR", "Failed to fork a", 4712);
  EXPECT_FALSE(JudgeStop(table.At(100), kStart, &NobodyHas).is_safe);
}

TEST(JudgeStop, RefusesWhereASupervisorIsGoneAndTheLogDoesNotTellWhy) {
  LauncherTable gone;
  gone.Item("a", false).Item("b").Runs(4713, 102, "b", 0);
  gone.log_born_seconds = 500;
  EXPECT_FALSE(JudgeStop(gone.At(1000), kStart, &NobodyHas).is_safe);
  gone.log_born_seconds = 0;
  gone.log_shows_ends = false;
  EXPECT_FALSE(JudgeStop(gone.At(1000), kStart, &NobodyHas).is_safe);
}

// Without the log, a supervisor whose program pauses keeps a number that nobody else knows.
TEST(JudgeStop, RefusesWhereTheNumberThatItWouldSignalIsNotKnown) {
  LauncherTable table;
  table.no_log = true;
  table.Item("a").Item("b").Runs(4712, 101, "a", 0);
  const StopOutlook outlook = JudgeStop(table.At(100), kStart, &NobodyHas);
  EXPECT_FALSE(outlook.is_safe);
  EXPECT_NE(outlook.reason.find("process it would signal for b;"), std::string::npos) << outlook.reason;
}

TEST(JudgeStop, IsSafeWithoutALogWhileEverySupervisorIsThereAndRuns) {
  LauncherTable table;
  table.no_log = true;
  table.Item("a").Item("b").Runs(4712, 101, "a", 0).Runs(4713, 102, "b", 0);
  const StopOutlook outlook = JudgeStop(table.At(100), kStart, &NobodyHas);
  EXPECT_TRUE(outlook.is_safe) << outlook.reason;
  EXPECT_FALSE(outlook.seconds_at_most.has_value());
}

TEST(JudgeStop, RefusesWhereANumberBelongsToSomebodyElseByNow) {
  const auto owner = [](int32_t pid) { return pid == 101 ? std::string("process 101 (/bin/vim)") : std::string(); };
  LauncherTable pausing;
  pausing.Item("a").Ends(100, "a", 101, 256, 4712);
  const StopOutlook outlook = JudgeStop(pausing.At(100), kStart, owner);
  EXPECT_FALSE(outlook.is_safe);
  EXPECT_NE(outlook.reason.find("/bin/vim"), std::string::npos);
  LauncherTable done;
  done.Item("a", false).RunOnce().Ends(100, "a", 101, 0, 4712);
  EXPECT_FALSE(JudgeStop(done.At(200), kStart, owner).is_safe);
  EXPECT_TRUE(JudgeStop(done.At(200), kStart, &NobodyHas).is_safe);
}

TEST(JudgeStop, RefusesInEveryPhaseButTheOne) {
  LauncherTable table;
  table.waits_on_no_file = true;
  EXPECT_FALSE(JudgeStop(table.At(100), kStart, &NobodyHas).is_safe);
  LauncherTable stopping;
  stopping.Item("a").Runs(4712, 101, "a", 0);
  stopping.Launcher().is_sigterm_blocked = true;
  EXPECT_FALSE(JudgeStop(stopping.At(100), kStart, &NobodyHas).is_safe);
}
