// launcherctl's own costs at full size: 20 MiB of log and 1,000 items. Its peer for reading the log is the least that a
// reader can do, counting the lines of the same files with getline.
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "bench/compare.h"
#include "launcherctl/log_reader.h"
#include "launcherctl/model.h"

static constexpr int kItems = 1000;

static std::string Record(int item) {
  const std::string number = std::to_string(100000 + item);
  return "2026-11-20T21:39:00.123+01:00 ERROR    launcher     4711 " + std::to_string(4712 + item) +
         " [LAUNCHER  ] item" + std::to_string(item) + " " + number + " is killed. ret = " + number +
         ", status = 256\n";
}

// A log of five files of 4 MiB, for as long as the program runs.
class FullLog {
 public:
  FullLog() {
    char name[] = "/tmp/launcherctl_bench.XXXXXX";
    if (mkdtemp(name) == nullptr) abort();
    folder = name;
    std::string text;
    for (int i = 0; text.size() < size_t{4} * 1024 * 1024; ++i) text += Record(i % kItems);
    for (const char* file : {"", ".1", ".2", ".3", ".4"}) {
      paths.push_back(folder + "/launcher.log" + file);
      std::ofstream(paths.back()) << text;
    }
  }
  ~FullLog() { std::filesystem::remove_all(folder); }
  FullLog(const FullLog&) = delete;
  FullLog& operator=(const FullLog&) = delete;

  std::string folder;
  std::vector<std::string> paths;
};

static const FullLog& TheLog() {
  static const FullLog log;
  return log;
}

static size_t CountLines() {
  size_t count = 0;
  for (const std::string& path : TheLog().paths) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) ++count;
  }
  return count;
}

static const Comparison kReadLog(
    "ReadLog", "20 MiB in five files", [] { return ReadLog(TheLog().folder).records.size(); }, "std::getline",
    &CountLines);

// A launcher with all its items, of which each has ended as often as the log says.
struct FullLauncher {
  Process process;
  ProcessTable table;
  Log log = ReadLog(TheLog().folder);
  LauncherFacts facts;

  FullLauncher() {
    process.pid = 4711;
    process.sigterm = SigtermAction::kCaught;
    process.threads.resize(kItems + 1);
    for (int i = 0; i <= kItems; ++i) {
      ProcessThread& thread = process.threads[static_cast<size_t>(i)];
      thread.id = static_cast<uint64_t>(4711 + i);
      thread.children.emplace();
    }
    for (int i = 0; i < kItems; ++i) {
      PlannedItem item;
      item.number = i;
      item.name = "item" + std::to_string(i);
      facts.items.push_back(item);
    }
    table.processes.push_back(process);
    facts.process = &process;
    facts.table = &table;
    facts.log = &log;
  }
};

static const FullLauncher& TheLauncher() {
  static const FullLauncher launcher;
  return launcher;
}

static const Comparison kInfer(
    "Infer", "1,000 items and 20 MiB of records", [] { return Infer(TheLauncher().facts).items.size(); }, "ReadLog",
    [] { return ReadLog(TheLog().folder).records.size(); });
