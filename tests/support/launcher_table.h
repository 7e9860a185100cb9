// A launcher, its processes and its log, made up line by line: what launcherctl infers from.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "launcherctl/clock_text.h"
#include "launcherctl/model.h"

constexpr int64_t kStart = 1795255200000;  // 2026-11-21 10:00:00 UTC
constexpr int32_t kLauncher = 4711;

// A launcher that was started at `kStart` with its items' threads 4712, 4713, ..., and what is told of it.
class LauncherTable {
 public:
  LauncherTable() {
    Process launcher = LauncherLike(kLauncher, 1, 0);
    launcher.sigterm = SigtermAction::kCaught;
    launcher.is_sigterm_blocked = false;
    launcher.threads.push_back({kLauncher, kStart, std::vector<int32_t>{}});
    table.processes.push_back(launcher);
  }

  // Adds an item, with a thread unless it has none any more.
  LauncherTable& Item(const std::string& name, bool has_thread = true) {
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
  LauncherTable& RunOnce() {
    items.back().run_once = true;
    return *this;
  }
  LauncherTable& Fate(PlannedItem::Fate fate) {
    items.back().fate = fate;
    return *this;
  }

  // A child of the thread, `seconds` after the start.
  LauncherTable& Runs(uint64_t thread, int32_t pid, const std::string& name, int64_t seconds) {
    Process program;
    program.pid = pid;
    program.parent = kLauncher;
    program.started_ms = kStart + seconds * 1000;
    program.start_mark = program.started_ms;
    program.executable = "/bin/" + name;
    program.arguments = {"/bin/" + name, "x"};
    return Child(thread, program);
  }
  LauncherTable& Child(uint64_t thread, const Process& process) {
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
  LauncherTable& Add(const Process& process) {
    auto place = table.processes.begin();
    while (place != table.processes.end() && place->pid < process.pid) ++place;
    table.processes.insert(place, process);
    return *this;
  }

  LauncherTable& Logs(int64_t seconds, const std::string& level, const std::string& message, uint64_t thread,
                      int32_t process = kLauncher) {
    const int64_t time_ms = kStart + seconds * 1000 + 50;
    (void)setenv("TZ", "UTC0", 1);
    text += Rfc3339(time_ms) + " " + level + "    launcher " + std::to_string(process) + " " + std::to_string(thread) +
            " [LAUNCHER  ] " + message + "\n";
    return *this;
  }
  LauncherTable& Ends(int64_t seconds, const std::string& name, int32_t pid, int status, uint64_t thread,
                      int32_t process = kLauncher) {
    const std::string number = std::to_string(pid);
    return Logs(seconds, "ERROR",
                name + " " + number + " is killed. ret = " + number + ", status = " + std::to_string(status), thread,
                process);
  }
  LauncherTable& Starts(int64_t seconds, const std::string& name, uint64_t thread) {
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
