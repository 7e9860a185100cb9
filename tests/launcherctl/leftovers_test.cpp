#include "launcherctl/leftovers.h"

#include <gtest/gtest.h>

#include "tests/support/launcher_table.h"

TEST(FindLeftovers, AreChainsAndWhatTheyRun) {
  LauncherTable table;
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
  LauncherTable table;
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
  LauncherTable table;
  table.Item("a").Child(4712, table.LauncherLike(101, kLauncher, 0));
  const auto left = FindLeftovers(table.table, {&table.Launcher()}, {}, table.items);
  EXPECT_TRUE(left.empty());
}
