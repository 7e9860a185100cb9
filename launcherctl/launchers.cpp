#include "launcherctl/launchers.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <set>
#include <thread>

#include "common/settings/paths.h"
#include "common/system/executable.h"
#include "launcherctl/check_list.h"
#include "launcherctl/clock_text.h"
#include "launcherctl/escape.h"
#include "launcherctl/file_times.h"

// --- Which processes are launchers

static bool IsSameProgramAs(const Process& process, const Process& other) {
  return process.executable == other.executable && process.arguments == other.arguments;
}

// A child that a launcher has just forked has its executable, its arguments and, for a moment, its handler for SIGTERM.
static bool IsForkedFromLauncher(const Process& process, const ProcessTable& table) {
  const Process* const parent = table.Find(process.parent);
  return parent != nullptr && IsLauncherPath(parent->executable) && IsSameProgramAs(process, *parent);
}

static bool IsLauncher(const Process& process, const ProcessTable& table) {
  if (!IsLauncherPath(process.executable) || process.is_zombie || IsForkedFromLauncher(process, table)) return false;
  // With the default action it is what a launcher has left behind, unless it is just beginning.
  constexpr int64_t kYoungMs = 1000;
  return process.sigterm != SigtermAction::kDefault || table.read_ms - process.started_ms < kYoungMs;
}

// A forked child in the middle of becoming a program, or one whose start has just failed.
static bool MayBeChanging(const Process& process, const ProcessTable& table, int64_t now_ms) {
  constexpr int64_t kSettledMs = 300;
  if (!IsLauncherPath(process.executable) || process.is_zombie) return false;
  const bool is_young = now_ms - process.started_ms < kSettledMs;
  if (!IsForkedFromLauncher(process, table)) return is_young && process.sigterm == SigtermAction::kDefault;
  return is_young || process.sigterm != SigtermAction::kDefault || !process.is_sleeping;
}

// Reads anew what may be changing, until it looks the same twice.
static void LookAgain(ProcessTable& table) {
  constexpr int kMostLooks = 12;
  constexpr auto kBetweenLooks = std::chrono::milliseconds(8);
  std::vector<int32_t> changing;
  for (const Process& process : table.processes) {
    if (MayBeChanging(process, table, table.read_ms)) changing.push_back(process.pid);
  }
  std::set<int32_t> seen_asleep;
  for (int look = 0; look < kMostLooks && !changing.empty(); ++look) {
    std::this_thread::sleep_for(kBetweenLooks);
    std::vector<int32_t> still_changing;
    for (const int32_t pid : changing) {
      const auto place = std::find_if(table.processes.begin(), table.processes.end(),
                                      [pid](const Process& process) { return process.pid == pid; });
      const auto again = ReadProcess(pid);
      if (!again || again->start_mark != place->start_mark) {
        table.processes.erase(place);
        continue;
      }
      const bool was_failed = place->is_sleeping && place->sigterm == SigtermAction::kDefault;
      *place = *again;
      if (!IsLauncherPath(again->executable)) continue;
      const bool is_failed = again->is_sleeping && again->sigterm == SigtermAction::kDefault;
      if (is_failed && was_failed && !seen_asleep.insert(pid).second) continue;
      if (!IsForkedFromLauncher(*place, table) && again->sigterm == SigtermAction::kCaught) continue;
      still_changing.push_back(pid);
    }
    changing = std::move(still_changing);
  }
}

// --- One launcher

static std::string Absolute(const std::string& path, const std::string& folder) {
  return path.empty() || path[0] == '/' || folder.empty() ? path : folder + "/" + path;
}

// Something is there, and it is no file: reading it goes on for ever, or waits.
static bool IsNoFile(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
}

static const char* LevelName(LOGLEVEL level) {
  switch (level) {
    case LOGLEVEL_DEBUG:
      return "DEBUG";
    case LOGLEVEL_MESSAGE:
      return "MESSAGE";
    case LOGLEVEL_WARNING:
      return "WARNING";
    case LOGLEVEL_CRITICAL:
      return "CRITICAL";
    case LOGLEVEL_VERBOSE:
      return "VERBOSE";
    case LOGLEVEL_ERROR:
      break;
  }
  return "ERROR";
}

std::vector<PlannedItem> PlanOf(const LaunchList& list) {
  std::vector<PlannedItem> plan;
  for (const LaunchListItem& item : list.items) {
    PlannedItem planned;
    planned.number = item.number;
    planned.name = item.name;
    planned.program = item.program;
    planned.run_once = item.run_once;
    if (item.argument_count <= kMostArgumentsEverywhere) {
      planned.command.push_back(item.program);
      for (int64_t i = 0; i < item.argument_count; ++i) planned.command.push_back(item.Argument(i));
    }
    switch (item.fate) {
      case LaunchListItem::Fate::kSupervised:
        planned.fate = PlannedItem::Fate::kSupervised;
        break;
      case LaunchListItem::Fate::kReplaced:
        planned.fate = PlannedItem::Fate::kReplaced;
        break;
      case LaunchListItem::Fate::kSkipped:
        planned.fate = PlannedItem::Fate::kSkipped;
        break;
      case LaunchListItem::Fate::kEndsReading:
      case LaunchListItem::Fate::kNotReached:
      case LaunchListItem::Fate::kNeverRead:
        planned.fate = PlannedItem::Fate::kNeverRead;
        break;
    }
    plan.push_back(std::move(planned));
  }
  return plan;
}

std::string LogFolderOf(const std::string& sdk_name) { return GetHomePath() + "/Library/Logs/" + sdk_name + "/qz3log"; }

Settings SettingsOf(const std::string& bundle) {
  return ReadSettings(bundle + "/Contents/Resources/", GetAppDataPath(""));
}

std::string OwnBundle() {
  std::string folder = GetCurrentPath();
  for (int levels = 0; levels < 2; ++levels) folder = folder.substr(0, folder.rfind('/'));
  return folder;
}

static Finding OwnFinding(const std::string& file, const std::string& code, Severity severity,
                          const std::string& message, const std::string& consequence, const std::string& remedy) {
  Finding finding;
  finding.file = file;
  finding.code = code;
  finding.severity = severity;
  finding.message = message;
  finding.consequence = consequence;
  finding.remedy = remedy;
  return finding;
}

static std::string WhatBecameOfList(const RunningLauncher& launcher, int64_t now_ms) {
  const int64_t modified_ms = FileModifiedMs(launcher.list_path);
  if (modified_ms == 0) return "the list is not there any more";
  if (modified_ms <= launcher.process.started_ms) return "the list can't be read any more";
  return "the list was changed at " + ClockWithDistance(modified_ms, now_ms) + ", after the launcher's start";
}

static void AddOwnFindings(RunningLauncher& launcher, bool list_was_changed, bool settings_were_changed,
                           int64_t now_ms) {
  std::vector<Finding> own;
  if (list_was_changed) {
    own.push_back(OwnFinding(
        launcher.list_path, "list-changed", Severity::kWarning, WhatBecameOfList(launcher, now_ms),
        "The launcher goes on with what it has read at its start; items are told by their names and commands here.",
        "Restart the launcher to have it read the list anew."));
  }
  const bool has_log = launcher.log != nullptr && launcher.log->IsThere();
  if (!has_log) {
    const std::string& reason = launcher.log->files.empty() ? "" : launcher.log->files[0].reason;
    own.push_back(OwnFinding(launcher.log_folder + "/launcher.log", "log-missing", Severity::kWarning,
                             "the launcher's log can't be read: " + reason, "Ends and failed forks are not known.",
                             "See that the folder can be written by this user, and restart the launcher."));
  } else if (!launcher.known.log_reaches_back) {
    own.push_back(OwnFinding(launcher.log_folder + "/launcher.log", "log-missing", Severity::kWarning,
                             "the log does not reach back to the launcher's start",
                             "How often an item has ended is not known, and the pauses are known only in part.",
                             "Keep the log's older files; a restart of the launcher begins anew."));
  } else if (launcher.known.records_were_lost) {
    own.push_back(OwnFinding(launcher.log_folder + "/launcher.log", "log-missing", Severity::kWarning,
                             "the logging library says that records were lost",
                             "How often an item has ended is not known.", "See whether the disk is full."));
  }
  if (launcher.level == "CRITICAL") {
    own.push_back(OwnFinding(launcher.settings.log_file, "log-level", Severity::kWarning,
                             "at level CRITICAL the launcher logs nothing", "Ends and failed forks are not known.",
                             "Set LEVEL=ERROR and restart the launcher."));
  } else if (settings_were_changed) {
    own.push_back(OwnFinding(launcher.settings.log_file, "log-level", Severity::kNote,
                             "log.ini was changed after the launcher's start",
                             "The launcher logs with the level that it found at its start.",
                             "Restart the launcher to have it read the file anew."));
  }
  const StopOutlook stop = StopOutlookOf(launcher, now_ms);
  if (!stop.is_safe) {
    own.push_back(OwnFinding(launcher.list_path, "stop-unsafe", Severity::kWarning,
                             "SIGTERM is not safe: " + ShownText(stop.reason),
                             "launcherctl stop refuses; a service manager that stops the launcher does not.",
                             "launcherctl stop --kill ends the launcher and its programs one by one."));
  }
  launcher.findings.insert(launcher.findings.begin(), own.begin(), own.end());
}

static void Learn(RunningLauncher& launcher, const Observation& observation, bool with_findings) {
  const Process& process = launcher.process;
  launcher.bundle = BundleOf(process.executable);
  if (process.arguments.size() > 1) launcher.name = process.arguments[1];
  if (process.arguments.size() > 2) launcher.list_path = Absolute(process.arguments[2], process.working_folder);
  launcher.list = ReadLaunchList(launcher.list_path);
  launcher.settings = SettingsOf(launcher.bundle);
  launcher.log_folder = process.open_log_folder && !process.open_log_folder->empty()
                            ? *process.open_log_folder
                            : LogFolderOf(launcher.settings.sdk_name);
  launcher.log = std::make_shared<Log>(ReadLog(launcher.log_folder, process.started_ms));
  launcher.level = LevelName(launcher.settings.level);

  constexpr int64_t kSlackMs = 500;
  LauncherFacts facts;
  facts.process = &launcher.process;
  facts.table = &observation.table;
  facts.log = launcher.log.get();
  facts.items = PlanOf(launcher.list);
  facts.list_is_known = launcher.list.state == LaunchList::State::kRead;
  // A list that can't be read any more was changed, too: the launcher has read it.
  facts.list_was_changed = !facts.list_is_known || FileModifiedMs(launcher.list_path) > process.started_ms + kSlackMs;
  facts.waits_on_no_file =
      IsNoFile(launcher.list_path) || IsNoFile(launcher.settings.sdk_file) || IsNoFile(launcher.settings.log_file);
  const bool settings_were_changed = FileModifiedMs(launcher.settings.log_file) > process.started_ms + kSlackMs;
  facts.log_shows_ends = launcher.settings.level != LOGLEVEL_CRITICAL && !settings_were_changed;
  facts.now_ms = observation.now_ms;
  launcher.known = Infer(facts);
  if (launcher.known.shows_starts) launcher.level = "DEBUG";
  if (!with_findings) return;
  launcher.findings = CheckList(launcher.list);
  launcher.findings.insert(launcher.findings.end(), launcher.settings.findings.begin(),
                           launcher.settings.findings.end());
  AddOwnFindings(launcher, facts.list_was_changed && launcher.known.phase != Phase::kReading, settings_were_changed,
                 observation.now_ms);
}

// --- Who has a number

std::string OwnerOfNumber(int32_t pid) {
  if (pid <= 0) return "everybody";
  if (kill(pid, 0) != 0) return "";  // Nobody, or somebody whom this user may not signal.
  const auto process = ReadProcess(pid);
  std::string who = "process " + std::to_string(pid);
  if (process && process->is_zombie) return "";  // Nothing happens to it.
  if (process && !process->executable.empty()) who += " (" + process->executable + ")";
  return who;
}

StopOutlook StopOutlookOf(const RunningLauncher& launcher, int64_t now_ms) {
  return JudgeStop(launcher.known, now_ms, &OwnerOfNumber);
}

std::vector<int32_t> GoneLaunchers(const Log& log, const ProcessTable& table) {
  std::set<int32_t> gone;
  for (const LogRecord& record : log.records) {
    if (gone.count(record.process) == 0 && table.Find(record.process) == nullptr) gone.insert(record.process);
  }
  return {gone.begin(), gone.end()};
}

// A second supervisor's records carry its process id and name its item.
static void NameByItsRecords(const Log& log, Leftover& leftover) {
  if (leftover.item || leftover.is_program) return;
  constexpr int64_t kSlackMs = 1000;
  for (const LogRecord& record : log.records) {
    const bool is_its_own = record.process == leftover.pid && record.time_ms >= leftover.since_ms - kSlackMs;
    if (is_its_own && !record.name.empty()) leftover.item = std::string(record.name);
  }
}

// --- All of it

Observation Observe(const WhichLaunchers& which) {
  Observation observation;
  observation.table = ReadProcesses();
  LookAgain(observation.table);
  observation.now_ms = NowMs();
  std::vector<const Process*> running;
  for (const Process& process : observation.table.processes) {
    if (IsLauncher(process, observation.table)) running.push_back(&process);
  }
  std::sort(running.begin(), running.end(), [](const Process* a, const Process* b) {
    return std::pair(a->start_mark, a->pid) < std::pair(b->start_mark, b->pid);
  });
  std::vector<PlannedItem> known_items;
  std::vector<int32_t> gone;
  std::set<std::string> log_folders;
  std::vector<std::shared_ptr<Log>> logs;
  const auto remember = [&](std::vector<PlannedItem> items) {
    known_items.insert(known_items.end(), items.begin(), items.end());
  };
  for (const Process* process : running) {
    const bool is_meant = (!which.pid || process->pid == *which.pid) &&
                          (!which.name || (process->arguments.size() > 1 && process->arguments[1] == *which.name));
    if (!is_meant) {
      ++observation.others;
      continue;
    }
    RunningLauncher launcher;
    launcher.process = *process;
    Learn(launcher, observation, which.with_findings);
    remember(PlanOf(launcher.list));
    log_folders.insert(launcher.log_folder);
    const auto of_log = GoneLaunchers(*launcher.log, observation.table);
    gone.insert(gone.end(), of_log.begin(), of_log.end());
    logs.push_back(launcher.log);
    observation.launchers.push_back(std::move(launcher));
  }

  // What is left behind is recognised by the list that a chain still carries, and by the log of this bundle.
  std::set<std::string> lists;
  std::set<std::string> more_folders = {LogFolderOf(SettingsOf(OwnBundle()).sdk_name)};
  if (!which.known_list.empty()) lists.insert(which.known_list);
  for (const Process& process : observation.table.processes) {
    if (!IsLauncherPath(process.executable) || process.arguments.size() < 3) continue;
    if (std::find(running.begin(), running.end(), &process) == running.end()) {
      lists.insert(Absolute(process.arguments[2], process.working_folder));
      const std::string folder = process.open_log_folder.value_or("");
      if (!folder.empty() && !IsForkedFromLauncher(process, observation.table)) more_folders.insert(folder);
    }
  }
  for (const std::string& path : lists) remember(PlanOf(ReadLaunchList(path)));
  for (const std::string& folder : more_folders) {
    if (log_folders.count(folder) > 0) continue;
    logs.push_back(std::make_shared<Log>(ReadLog(folder)));
    const auto of_log = GoneLaunchers(*logs.back(), observation.table);
    gone.insert(gone.end(), of_log.begin(), of_log.end());
  }
  observation.leftovers = FindLeftovers(observation.table, running, gone, known_items);
  for (Leftover& leftover : observation.leftovers) {
    for (const auto& log : logs) NameByItsRecords(*log, leftover);
  }
  return observation;
}
