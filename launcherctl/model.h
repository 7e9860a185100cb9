// What a launcher and each of its items do, inferred from the launch list, the log, the process table and the time.
//
// Pure: nothing is asked of the system here, so all of it can be tested on tables. What can't be inferred is kUnknown,
// with the reason and what would make it known; nothing is guessed.
//
// How it is known:
// - The launcher makes its supervisors' threads in list order, so threads in order of birth are the items.
// - A supervisor's records carry its thread's id. Those of a second supervisor, which stands where a program should
//   after a failed start, carry its own process id.
// - An item's k-th end is followed by a pause of k seconds.
// - A supervisor's thread ends when its item is done, given up or replaced, and not before.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "launcherctl/log_reader.h"
#include "launcherctl/processes.h"

// --- What goes in

struct PlannedItem {
  enum class Fate { kSupervised, kReplaced, kSkipped, kNeverRead };
  std::optional<int64_t> number;
  std::optional<std::string> name;   // As the launcher reads it.
  std::string program;               // Empty: there is none.
  std::vector<std::string> command;  // The program and its arguments.
  bool run_once = false;
  Fate fate = Fate::kSupervised;
};

struct LauncherFacts {
  const Process* process = nullptr;
  const ProcessTable* table = nullptr;
  const Log* log = nullptr;
  std::vector<PlannedItem> items;  // In list order.
  bool list_is_known = true;
  bool list_was_changed = false;  // After the launcher's start: `items` may not be what it has read.
  bool waits_on_no_file = false;  // A folder, FIFO or device stands in the place of its list or a settings file.
  bool log_shows_ends = true;     // False at level CRITICAL, as far as that is known.
  int64_t now_ms = 0;
};

// --- What comes out

enum class ItemState {
  kRunning,
  kPausing,
  kDone,
  kFailing,
  kGivenUp,
  kNoProgram,
  kReplaced,
  kSkipped,
  kNeverRead,
  kUnknown,
};

// "running", "pausing", ..., "no-program", "given-up", "never-read".
const char* StateName(ItemState state);

struct EndedRun {
  int64_t end_ms = 0;
  std::optional<int64_t> start_ms;  // Logged, or computed as the end before plus the pause.
  int64_t pause_after_seconds = 0;  // As many seconds as runs; too few where the log is cut.
  int32_t pid = 0;
  int32_t ret = 0;
  int32_t status = 0;
  const LogRecord* record = nullptr;
};

struct ItemKnowledge {
  std::optional<int64_t> number;
  std::string name;  // As in the list; as logged for an item that is not in the list any more.
  bool has_name = true;
  std::string program;
  bool run_once = false;
  ItemState state = ItemState::kUnknown;
  bool trouble = false;
  bool is_crash_loop = false;
  std::optional<int32_t> pid;
  std::optional<int64_t> since_ms;
  int64_t ends = 0;
  bool ends_exact = false;
  std::vector<EndedRun> runs;  // Those that have ended and are in the log, oldest first; at most the last 20.
  std::optional<int64_t> pause_seconds;
  std::optional<int64_t> next_start_ms;
  std::vector<int32_t> chain;  // Second supervisors, the launcher's own child first.
  std::string reason;          // Of kUnknown, and what there is to say of other states.
};

// A supervisor that a stop of the launcher reaches, whether its item is known or not.
struct SupervisorKnowledge {
  std::string item;              // For people; empty when it is not known whose it is.
  bool thread_is_there = false;  // If not, its item is done or given up.
  bool is_surely_done = false;   // Its thread is gone, and the log has the end of its only run: no fork has failed.
  bool child_is_there = false;
  std::optional<int32_t> stored_pid;     // What the stop sends SIGKILL to: the child, or the last one.
  std::optional<int64_t> pause_seconds;  // Of the present run, or the present pause.
  std::optional<int64_t> next_start_ms;  // Where it pauses.
};

enum class Phase { kReading, kStarting, kSupervising, kStopping, kEnding };
const char* PhaseName(Phase phase);

struct LauncherKnowledge {
  Phase phase = Phase::kSupervising;
  std::vector<ItemKnowledge> items;  // In list order, then those that are not in the list any more.
  bool log_reaches_back = false;     // To the launcher's start.
  bool log_shows_ends = false;       // Its level is not CRITICAL.
  bool records_were_lost = false;
  bool shows_starts = false;          // It has logged one: its level is DEBUG.
  bool fork_has_failed = false;       // Says the log.
  bool fork_may_have_failed = false;  // A line that may say so, or be an end of an oddly named item.
  std::vector<SupervisorKnowledge> supervisors;
  bool supervisors_are_counted = false;  // How many there must be is known: `supervisors` has all of them.
  const LogRecord* parse_error = nullptr;
};

LauncherKnowledge Infer(const LauncherFacts& facts);
