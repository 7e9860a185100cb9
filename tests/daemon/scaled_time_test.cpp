// Many restarts in little time: the pauses are an injected fraction of what the launcher asks for.

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/support/fault_scene.h"
#include "tests/support/files.h"
#include "tests/support/items.h"
#include "tests/support/wait_until.h"

static size_t CountDescriptors(pid_t process) {
  size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/fd")) {
    (void)entry;
    ++count;
  }
  return count;
}

// The launcher's own memory in KiB, shared pages not counted.
static long OwnKib(pid_t process) {
  const std::string status = ReadFile("/proc/" + std::to_string(process) + "/status");
  return std::stol(status.substr(status.find("RssAnon:") + 8));
}

TEST(ScaledTime, PausesOneMoreSecondAfterEveryRunAndNothingGrows) {
  if (!WhyNoFaults().empty()) GTEST_SKIP() << WhyNoFaults();
  constexpr size_t kItems = 20;
  const size_t runs = static_cast<size_t>(25 * SoakFactor());
  const Bundle bundle;
  bundle.SetLogLevel("DEBUG");
  std::vector<JsonObject> items;
  for (size_t i = 0; i < kItems; ++i) items.push_back(Item("item " + std::to_string(i) + ".", "/bin/true"));
  LauncherProcess launcher(bundle, {"agent", bundle.WriteList(ListOf(items))},
                           WithFaults(bundle, {{"INJECTED_TIME_DIVISOR", "20000"}}));
  const auto pauses_by_thread = [&] {
    std::map<pid_t, std::vector<int64_t>> pauses;
    for (const auto& pause : ReadReport(bundle).pauses) pauses[pause.thread].push_back(pause.nanoseconds);
    return pauses;
  };
  const auto everybody_has_paused = [&](size_t times) {
    const auto pauses = pauses_by_thread();
    if (pauses.size() != kItems) return false;
    for (const auto& [thread, of_thread] : pauses) {
      if (of_thread.size() < times) return false;
    }
    return true;
  };
  const auto deadline = kDeadline * SoakFactor();
  ASSERT_TRUE(WaitUntil([&] { return everybody_has_paused(runs / 2); }, deadline));
  const long own_kib_before = OwnKib(launcher.pid());
  ASSERT_TRUE(WaitUntil([&] { return everybody_has_paused(runs); }, deadline));
  const long own_kib = OwnKib(launcher.pid());
  // The log's. The injected reports open one now and then, for a moment.
  EXPECT_TRUE(WaitUntil([&] { return CountDescriptors(launcher.pid()) == 1; }));
  EXPECT_LE(own_kib, own_kib_before + 64);
  launcher.Signal(SIGKILL);
  (void)launcher.WaitStatus();

  size_t restarts = 0;
  for (const auto& [thread, pauses] : pauses_by_thread()) {
    restarts += pauses.size();
    for (size_t run = 1; run <= pauses.size(); ++run) {
      ASSERT_EQ(pauses[run - 1], static_cast<int64_t>(run) * 1000000000) << "after run " << run;
    }
  }
  // Every start has its end, but for the one that was interrupted.
  std::map<std::string, int> without_end;
  size_t starts = 0;
  for (const std::string& line : ReadLines(bundle.log_file())) {
    const size_t name = line.find("item ");
    ASSERT_NE(name, std::string::npos) << line;
    const bool is_start = line.find("Start to fork") != std::string::npos;
    if (is_start) ++starts;
    int& open = without_end[line.substr(name, line.find('.', name) - name)];
    open += is_start ? 1 : -1;
    ASSERT_TRUE(open == 0 || open == 1) << line;
  }
  EXPECT_EQ(without_end.size(), kItems);
  EXPECT_GE(starts, restarts);
  ShowFigures(std::to_string(restarts) + " pauses of 1, 2, 3, ... seconds, " + std::to_string(starts) +
              " starts, 1 descriptor, " + std::to_string(own_kib - own_kib_before) + " KiB more in the second half");
}
