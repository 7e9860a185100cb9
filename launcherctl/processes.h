// The process table as this tool needs it: this user's processes, and of launchers a closer look. A platform's answer
// is a file each.
//
// A table is a picture taken over some milliseconds: processes come and go meanwhile, and a number may be a new
// process's by the time somebody uses it. A process is told by its number and its start.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// What SIGTERM does to a process. It tells the kinds of launcher processes apart: a launcher catches it (and blocks it
// while it stops, and ignores it while it ends), a second supervisor has the default action.
enum class SigtermAction : uint8_t { kUnknown, kDefault, kIgnored, kCaught };

struct ProcessThread {
  uint64_t id = 0;         // As in the log's column.
  int64_t started_ms = 0;  // 0 where the platform does not tell.
  // Where the platform knows which thread has forked what; nothing where it does not.
  std::optional<std::vector<int32_t>> children;
};

struct Process {
  int32_t pid = 0;
  int32_t parent = 0;
  int32_t group = 0;
  int64_t started_ms = 0;              // Since 1970 UTC, by the present clock.
  int64_t start_mark = 0;              // The platform's own and exact start: tells a process from a later one.
  bool is_zombie = false;              // It has ended, and its parent has not asked yet.
  bool is_sleeping = false;            // It waits for something.
  std::string executable;              // Its path; empty where it can't be had.
  std::vector<std::string> arguments;  // argv; empty where it can't be had.

  // Only of processes whose executable is a bundle's launcher.
  SigtermAction sigterm = SigtermAction::kUnknown;
  std::optional<bool> is_sigterm_blocked;  // On the main thread.
  std::vector<ProcessThread> threads;      // In order of birth, the main thread first.
  std::string working_folder;
  // The folder of the launcher.log that it has open: empty if it has none, nothing where that can't be had.
  std::optional<std::string> open_log_folder;
};

struct ProcessTable {
  int64_t read_ms = 0;
  std::vector<Process> processes;  // By process id.

  const Process* Find(int32_t pid) const;
  // By process id.
  std::vector<const Process*> ChildrenOf(int32_t pid) const;
};

// Reads the processes of this (real) user.
ProcessTable ReadProcesses();

// Reads one process anew, as closely as a launcher; nothing if there is none of this number.
std::optional<Process> ReadProcess(int32_t pid);

// Whether this path is a bundle's launcher: it ends with "/Contents/MacOS/launcher".
bool IsLauncherPath(const std::string& executable);

// The bundle's path, for a path of which that holds: "/Applications/Pellux.app".
std::string BundleOf(const std::string& executable);

// Whether `process` is a second supervisor of the launcher `launcher`, whose descendant it need not be any more.
bool IsSecondSupervisor(const Process& process, const Process& launcher);

// Whether this process was started with `command`, an interpreter's line in front of it left out of account.
bool HasCommand(const Process& process, const std::vector<std::string>& command);
