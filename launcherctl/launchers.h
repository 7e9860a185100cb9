// The launchers of this user that run now, with all that is known of each: its list, its bundle's settings, its log,
// and what its items do. The one place that gathers what the model needs.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "launcherctl/check_settings.h"
#include "launcherctl/finding.h"
#include "launcherctl/launch_list_reader.h"
#include "launcherctl/leftovers.h"
#include "launcherctl/log_reader.h"
#include "launcherctl/model.h"
#include "launcherctl/processes.h"
#include "launcherctl/stop_outlook.h"

struct RunningLauncher {
  Process process;
  std::string bundle;     // "/Applications/Pellux.app"
  std::string name;       // As it was started.
  std::string list_path;  // Absolute.
  LaunchList list;
  Settings settings;
  std::string log_folder;  // Where its log is, or should be.
  std::string level;       // "ERROR"; as far as that is known, the one that it logs with.
  std::shared_ptr<Log> log;
  LauncherKnowledge known;
  // Of the list and the settings, as `check` finds them, and the launcher's own: "list-changed", "stop-unsafe",
  // "log-missing", "log-level".
  std::vector<Finding> findings;
};

struct WhichLaunchers {
  std::optional<int32_t> pid;
  std::optional<std::string> name;
  bool with_findings = true;
  std::string known_list;  // A list that an earlier launcher may have run, to recognise what it has left behind.
};

struct Observation {
  int64_t now_ms = 0;
  ProcessTable table;
  std::vector<RunningLauncher> launchers;  // Those asked for, in the order of their starts.
  size_t others = 0;                       // Launchers that run and were not asked for.
  std::vector<Leftover> leftovers;
};

// Looks at everything. Takes some tens of milliseconds more where a child is just being started: it is looked at again
// then, because before its first act it looks like a launcher itself.
Observation Observe(const WhichLaunchers& which);

// The items as the model takes them.
std::vector<PlannedItem> PlanOf(const LaunchList& list);

// Where the launcher of the bundle at `bundle` logs: the folder, by its settings.
std::string LogFolderOf(const std::string& sdk_name);

// The settings of the bundle at `bundle`, "/Applications/Pellux.app".
Settings SettingsOf(const std::string& bundle);

// The bundle that this program lies in.
std::string OwnBundle();

// Who has a process number now: "process 8123 (/usr/bin/vim)", or an empty text if nobody that this user may signal.
std::string OwnerOfNumber(int32_t pid);

// Whether SIGTERM is safe now; asks `OwnerOfNumber`.
StopOutlook StopOutlookOf(const RunningLauncher& launcher, int64_t now_ms);

// The process ids of launchers that the log knows and that are gone.
std::vector<int32_t> GoneLaunchers(const Log& log, const ProcessTable& table);
