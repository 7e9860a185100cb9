// What the launchers of one log have done over time: the runs of each item, the starts that failed, and the launchers'
// own starts and ends.
//
// Pure: it is inferred from the log's records, the names that a list holds and what is known of the launchers that run,
// so all of it can be tested on tables. What can't be inferred is left out or says that it is unknown.
//
// How it is known:
// - At level DEBUG starts are logged. Otherwise the next start is the end plus the pause, and the first one of a
// launcher
//   is unknown: it may have been right at the launcher's start, or after starts that failed.
// - An item's k-th end is followed by a pause of k seconds. A second supervisor, which stands where a program should
//   after a failed start, goes on counting; its records carry its own process id.
// - A stop of the launcher ends what runs with SIGKILL, and nothing follows.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "launcherctl/log_reader.h"

enum class StartIs : uint8_t { kLogged, kComputed, kUnknown };

struct HistoryRun {
  std::optional<int64_t> start_ms;  // Nothing where it is unknown.
  StartIs start_is = StartIs::kUnknown;
  std::optional<int64_t> end_ms;         // Nothing while it runs, or where the end is not in the log.
  std::optional<int64_t> no_later_than;  // Without an end: when it was over at the latest.
  std::optional<int32_t> pid;
  std::optional<int32_t> status;         // The raw wait status; nothing where the wait failed, too.
  std::optional<int64_t> pause_seconds;  // That follows; nothing where none follows, or it is not known.
  int64_t from_ms = 0;                   // Where it may have begun, if its start is unknown.
  bool is_end_of_stop = false;           // Ended by the launcher's stop.
};

struct HistoryFailedStart {
  int64_t time_ms = 0;
  bool has_no_program = false;  // Else a second supervisor took the program's place, or the fork failed.
  bool fork_failed = false;
  std::optional<int64_t> until_ms;  // When the next attempt came.
};

struct HistoryItem {
  std::string name;       // As in the list where it has the name, else as logged.
  bool run_once = false;  // Says the list.
  bool is_listed = false;
  std::vector<HistoryRun> runs;  // By end, an open one last.
  std::vector<HistoryFailedStart> failed_starts;
};

struct HistoryLauncher {
  enum class How : uint8_t { kRunning, kStopped, kFailed, kEnded, kUnknown };
  int32_t pid = 0;
  std::optional<int64_t> start_ms;
  std::optional<int64_t> end_ms;
  How how = How::kUnknown;
  int64_t first_record_ms = 0;
  int64_t last_record_ms = 0;
  bool shows_starts = false;  // Level DEBUG.
};

// "running", "stopped", "failed", "ended", "unknown".
const char* HowName(HistoryLauncher::How how);
// "logged", "computed", "unknown".
const char* StartIsName(StartIs start_is);

struct History {
  std::vector<HistoryItem> items;          // In list order, then as they come first in the log.
  std::vector<HistoryLauncher> launchers;  // By their first record.
  int64_t from_ms = 0;                     // The whole time that it tells of.
  int64_t until_ms = 0;
  size_t records = 0;
  bool log_is_whole = true;  // Nothing of the time told of is known to be missing.
};

// --- What goes in beside the log

struct HistoryName {
  std::string name;  // As in the list, not as logged.
  bool run_once = false;
};

// A launcher that runs.
struct HistoryPresence {
  int32_t pid = 0;
  int64_t started_ms = 0;
  struct Running {
    std::string name;
    int32_t pid = 0;
    int64_t since_ms = 0;
  };
  std::vector<Running> programs;  // What runs under it now.
};

struct HistoryFacts {
  const Log* log = nullptr;
  std::vector<HistoryName> names;
  std::vector<HistoryPresence> launchers;
  // Whether `launchers` are all there are. Not so for a log from another machine.
  bool launchers_are_known = true;
  int64_t now_ms = 0;
};

History MakeHistory(const HistoryFacts& facts);

// Leaves out what was over before `since_ms`.
void KeepSince(History& history, int64_t since_ms);

// The share of the time from `from_ms` to `until_ms` in which the item ran, from 0 to 1. `at_most` is set where an
// unknown start may make it less.
double ShareUp(const HistoryItem& item, int64_t from_ms, int64_t until_ms, bool& at_most);

// The ends in words, the most frequent first: "231 x exit status 3", "8 x signal 11 (SIGSEGV), 1 x exit status 0"; or,
// where there is little room, "231 x exit 3", "8 x SIGSEGV, 1 x exit 0".
std::string EndsInWords(const HistoryItem& item, bool is_short = false);

// Whether it ended badly: by a signal or with a status other than 0, and not by the launcher's stop.
bool IsBadEnd(const HistoryRun& run);
