// Which of a launcher's threads supervises which item, and the log's records of each: what the inference of model.h
// begins with.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "launcherctl/log_reader.h"
#include "launcherctl/model.h"
#include "launcherctl/processes.h"

// Start times are told in ticks, and a record's time is taken a moment after what it tells of.
constexpr int64_t kSlackMs = 1000;

struct SupervisorRecords {
  std::vector<const LogRecord*> starts;
  std::vector<const LogRecord*> ends;
  const LogRecord* fork_failed = nullptr;
  const LogRecord* last = nullptr;
  std::string name;  // In its logged form.
  bool has_name = false;
};

struct LauncherRecords {
  std::map<uint64_t, SupervisorRecords> by_thread;                      // The launcher's own.
  std::unordered_map<int32_t, std::vector<const LogRecord*>> by_child;  // Those of its forked children.
  std::set<std::string> without_program;                                // Names of items, logged by such a child.
};

// Sorts the log's records of this launcher, and notes in `known` what single records tell of the launcher as a whole.
LauncherRecords SortRecords(const LauncherFacts& facts, LauncherKnowledge& known);

// A supervisor's thread: one that is there, or one that only the log knows.
struct Supervisor {
  uint64_t id = 0;
  const ProcessThread* thread = nullptr;
  const SupervisorRecords* records = nullptr;
  const Process* child = nullptr;  // What it waits for; no zombie.
  std::optional<size_t> item;      // Index into the facts' items.
};

// Returns the supervisors that are there, in order of birth, then those that only the log knows. Both arguments have to
// outlive what is returned. An item is nobody's, and a supervisor without an item, where nothing tells for sure.
std::vector<Supervisor> MatchSupervisors(const LauncherFacts& facts, const LauncherRecords& records);
