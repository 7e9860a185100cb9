// Memory that is out at every moment of a launcher's life: one allocation fails, or all from one on.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <map>
#include <string>
#include <vector>

#include "tests/support/fault_scene.h"
#include "tests/support/files.h"
#include "tests/support/items.h"
#include "tests/support/test_process.h"
#include "tests/support/wait_until.h"

using Clock = std::chrono::steady_clock;

// A program that stays, one that ends, one whose start fails, and one that replaces another, all with texts that do not
// fit into a string object.
static std::string MixedList() {
  const std::string long_text(60, 'x');
  return ListWithEndMark({Item("stays " + long_text, "/bin/sleep", {"100000", long_text}),
                          ShellItem("ends " + long_text, "exit 3"),
                          Item("fails " + long_text, "/nonexistent/" + long_text),
                          RunOnce(ShellItem("twin " + long_text, "exit 0")), SleepingItem("twin " + long_text)});
}

struct Outcome {
  bool hung = false;
  int status = 0;
  bool nobody_is_left = false;
  std::string log;
  InjectedReport report;

  bool Exited(int expected) const { return !hung && WIFEXITED(status) && WEXITSTATUS(status) == expected; }
  bool EndedBy(int number) const { return !hung && WIFSIGNALED(status) && WTERMSIG(status) == number; }

  long Allocations() const {
    long most = 0;
    for (const auto& [process, count] : report.allocations) most = std::max(most, count);
    return most;
  }
};

// Runs a launcher until it ends by itself, or stops it a while after its start.
static Outcome RunWith(std::map<std::string, std::string> faults) {
  const Bundle bundle;
  const std::string trigger = bundle.PathOf("trigger");
  faults["INJECTED_TIME_DIVISOR"] = "50";
  faults["INJECTED_TRIGGER"] = trigger;
  LauncherProcess launcher(bundle, {"agent", bundle.WriteList(MixedList())}, WithFaults(bundle, faults));
  (void)WaitUntil([&] { return !launcher.IsRunning() || MainThreadKeepsWaiting(launcher.pid()); });
  WriteFile(trigger, "");
  (void)WaitUntil([&] { return !launcher.IsRunning(); }, std::chrono::milliseconds(200));
  const auto deadline = Clock::now() + kDeadline;
  while (launcher.IsRunning() && Clock::now() < deadline) {
    launcher.Signal(SIGTERM);
    (void)WaitUntil([&] { return !launcher.IsRunning(); }, std::chrono::milliseconds(100));
  }
  Outcome outcome;
  outcome.hung = launcher.IsRunning();
  if (!outcome.hung) outcome.status = launcher.WaitStatus().value_or(0);
  outcome.nobody_is_left = launcher.NobodyLeft();
  outcome.log = ReadFile(bundle.log_file());
  outcome.report = ReadReport(bundle);
  return outcome;
}

// Fails one of `allocations`, and all from one on, about 20 times in the short form. Each outcome has to be in order,
// and is `accepted` or not.
static void Sweep(const std::string& phase, long allocations, bool (*accepted)(const Outcome&)) {
  const long step = std::max(1L, allocations / (10L * SoakFactor()));
  std::map<std::string, int> outcomes;
  int runs = 0;
  for (const char* which : {"INJECTED_ALLOCATION", "INJECTED_ALLOCATIONS_FROM"}) {
    for (long number = 1; number <= allocations; number += step) {
      const Outcome outcome = RunWith({{"INJECTED_PHASE", phase}, {which, std::to_string(number)}});
      ++runs;
      const std::string row = phase + ", " + which + "=" + std::to_string(number);
      EXPECT_FALSE(outcome.hung) << row;
      EXPECT_TRUE(accepted(outcome)) << row << ": wait status " << outcome.status << "\n" << outcome.log;
      for (const auto& call : outcome.report.kills) EXPECT_GT(call.target, 0) << row;
      ++outcomes[WIFSIGNALED(outcome.status) ? "signal " + std::to_string(WTERMSIG(outcome.status))
                                             : "status " + std::to_string(WEXITSTATUS(outcome.status))];
    }
  }
  std::string figures = phase + ": " + std::to_string(runs) + " runs over " + std::to_string(allocations) +
                        " allocations, no hang, no signal to others";
  for (const auto& [outcome, count] : outcomes) figures += ", " + outcome + " " + std::to_string(count) + " times";
  ShowFigures(figures);
}

// Before there is a log, the launcher may end by a signal, when nothing has been started yet: by SIGABRT, or by
// SIGSEGV, because glibc's look at the user database does not expect to be out of memory. Afterwards the failure is one
// of the list, which is logged.
TEST(AllocationFailures, DuringTheStartNeitherHangNorSignalOthersNorEndInSilence) {
  if (!WhyNoFaults().empty()) GTEST_SKIP() << WhyNoFaults();
  const long allocations = RunWith({{"INJECTED_PHASE", "start"}}).Allocations();
  ASSERT_GT(allocations, 100);
  Sweep("start", allocations, [](const Outcome& outcome) {
    const bool said_so = outcome.log.find("Error while parsing saved json string.") != std::string::npos;
    const bool by_signal = outcome.EndedBy(SIGABRT) || outcome.EndedBy(SIGSEGV);
    return (by_signal && outcome.nobody_is_left) || outcome.Exited(1) ||
           (outcome.Exited(0) && (said_so || outcome.log.empty()));
  });
}

// More than a forked child asks for.
static constexpr long kChildsAllocations = 60;

TEST(AllocationFailures, DuringRestartsHurtTheForkedChildAlone) {
  if (!WhyNoFaults().empty()) GTEST_SKIP() << WhyNoFaults();
  EXPECT_EQ(RunWith({{"INJECTED_PHASE", "restart"}}).Allocations(), 0) << "a supervisor that runs allocates";
  Sweep("child", kChildsAllocations, [](const Outcome& outcome) { return outcome.Exited(1); });
}

TEST(AllocationFailures, DuringAStopDoNotExistForNothingIsAllocated) {
  if (!WhyNoFaults().empty()) GTEST_SKIP() << WhyNoFaults();
  const Outcome outcome = RunWith({{"INJECTED_PHASE", "stop"}, {"INJECTED_ALLOCATIONS_FROM", "1"}});
  EXPECT_TRUE(outcome.Exited(1));
  EXPECT_EQ(outcome.Allocations(), 0);
}
