// Many programs that end at once, with real pauses and the real logger.

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "tests/support/bundle.h"
#include "tests/support/fault_scene.h"
#include "tests/support/files.h"
#include "tests/support/items.h"
#include "tests/support/launcher_process.h"
#include "tests/support/sanitized.h"
#include "tests/support/wait_until.h"

using Clock = std::chrono::steady_clock;

static std::string CrashingList(int count) {
  std::vector<JsonObject> items;
  for (int i = 0; i < count; ++i) items.push_back(Item("item " + std::to_string(i) + ".", "/bin/false"));
  return ListOf(items);
}

struct Lines {
  int starts = 0;
  int ends = 0;
};

static Lines SumOf(const std::map<std::string, Lines>& by_item) {
  Lines sum;
  for (const auto& [item, of_item] : by_item) {
    sum.starts += of_item.starts;
    sum.ends += of_item.ends;
  }
  return sum;
}

// By item. Older files of the log count as well.
static std::map<std::string, Lines> LinesByItem(const Bundle& bundle) {
  std::map<std::string, Lines> lines;
  if (!std::filesystem::exists(bundle.log_file())) return lines;
  for (const auto& file : std::filesystem::directory_iterator(bundle.log_folder() + "/qz3log")) {
    for (const std::string& line : ReadLines(file.path().string())) {
      const size_t name = line.find("item ");
      if (name == std::string::npos) continue;
      Lines& of_item = lines[line.substr(name, line.find('.', name) - name)];
      ++(line.find("Start to fork") != std::string::npos ? of_item.starts : of_item.ends);
    }
  }
  return lines;
}

static std::vector<pid_t> ZombiesOf(pid_t launcher) {
  std::vector<pid_t> zombies;
  for (const auto& task : std::filesystem::directory_iterator("/proc/" + std::to_string(launcher) + "/task")) {
    std::ifstream children(task.path().string() + "/children");
    for (pid_t child = 0; children >> child;) {
      const std::string stat = ReadFile("/proc/" + std::to_string(child) + "/stat");
      if (stat.find(") Z ") != std::string::npos) zombies.push_back(child);
    }
  }
  return zombies;
}

TEST(Storm, OfCrashingProgramsLosesNoStartNoEndAndNoProcess) {
  if (!std::filesystem::exists("/proc/self/task")) GTEST_SKIP() << "nothing here shows another process's children";
  const int count = std::min(300, 60 * SoakFactor());
  const auto duration = std::chrono::seconds(std::min(60, 6 * SoakFactor()));
  const Bundle bundle;
  bundle.SetLogLevel("DEBUG");
  LauncherProcess launcher(bundle, bundle.WriteList(CrashingList(count)));
  std::map<pid_t, Clock::time_point> zombies;
  Clock::duration oldest_zombie{};
  const auto look_for_zombies = [&] {
    std::map<pid_t, Clock::time_point> still_there;
    for (const pid_t zombie : ZombiesOf(launcher.pid())) {
      const auto seen = zombies.find(zombie);
      still_there[zombie] = seen == zombies.end() ? Clock::now() : seen->second;
      oldest_zombie = std::max(oldest_zombie, Clock::now() - still_there[zombie]);
    }
    zombies = still_there;
  };
  const auto end = Clock::now() + duration;
  const bool has_stormed = WaitUntil(
      [&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        look_for_zombies();
        if (Clock::now() < end) return false;
        // A sanitizer makes so many forks slow.
        const auto lines = LinesByItem(bundle);
        return lines.size() == static_cast<size_t>(count) && SumOf(lines).starts >= 2 * count;
      },
      duration + kDeadline);
  EXPECT_TRUE(has_stormed) << "some have not been started, or not twice on average";
  EXPECT_TRUE(launcher.IsRunning());
  const std::vector<pid_t> last = ZombiesOf(launcher.pid());
  EXPECT_TRUE(WaitUntil([&] {
    const std::vector<pid_t> left = ZombiesOf(launcher.pid());
    return std::find_first_of(last.begin(), last.end(), left.begin(), left.end()) == last.end();
  })) << "a zombie stays";
  launcher.Signal(SIGKILL);
  (void)launcher.WaitStatus();

  const auto lines = LinesByItem(bundle);
  for (const auto& [item, of_item] : lines) {
    // One may be running.
    EXPECT_TRUE(of_item.starts == of_item.ends || of_item.starts == of_item.ends + 1) << item;
  }
  const Lines all = SumOf(lines);
  const auto zombie_ms = std::chrono::duration_cast<std::chrono::milliseconds>(oldest_zombie).count();
  ShowFigures(std::to_string(count) + " items, " + std::to_string(all.starts) + " starts, " + std::to_string(all.ends) +
              " ends, " + std::to_string(all.starts - all.ends) + " running at the end, a zombie was seen for " +
              std::to_string(zombie_ms) + " ms at most");
}

TEST(Storm, OfManyCrashingProgramsKeepsNoFirstStartWaiting) {
  const int count = std::min(1000, 200 * SoakFactor()) / (kSanitized ? 4 : 1);
  const Bundle bundle;
  bundle.SetLogLevel("DEBUG");
  const std::string list = bundle.WriteList(CrashingList(count));
  const auto begin = Clock::now();
  LauncherProcess launcher(bundle, list);
  EXPECT_TRUE(
      WaitUntil([&] { return LinesByItem(bundle).size() == static_cast<size_t>(count); }, std::chrono::seconds(120)));
  const auto taken = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin).count();
  ShowFigures("all of " + std::to_string(count) + " items started after " + std::to_string(taken) + " ms");
}
