#include "launcherctl/model.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <unordered_map>

// Start times are told in ticks, and a record's time is taken a moment after what it tells of.
static constexpr int64_t kSlackMs = 1000;
static constexpr size_t kKeptRuns = 20;

const char* StateName(ItemState state) {
  switch (state) {
    case ItemState::kRunning:
      return "running";
    case ItemState::kPausing:
      return "pausing";
    case ItemState::kDone:
      return "done";
    case ItemState::kFailing:
      return "failing";
    case ItemState::kGivenUp:
      return "given-up";
    case ItemState::kNoProgram:
      return "no-program";
    case ItemState::kReplaced:
      return "replaced";
    case ItemState::kSkipped:
      return "skipped";
    case ItemState::kNeverRead:
      return "never-read";
    case ItemState::kUnknown:
      break;
  }
  return "unknown";
}

const char* PhaseName(Phase phase) {
  switch (phase) {
    case Phase::kReading:
      return "reading";
    case Phase::kStarting:
      return "starting";
    case Phase::kStopping:
      return "stopping";
    case Phase::kEnding:
      return "ending";
    case Phase::kSupervising:
      break;
  }
  return "supervising";
}

bool IsSecondSupervisor(const Process& process, const Process& launcher) {
  // It pauses or waits, and so sleeps. A child that is becoming its program is busy.
  return process.executable == launcher.executable && process.arguments == launcher.arguments &&
         process.sigterm == SigtermAction::kDefault && process.is_sleeping && !process.is_zombie;
}

bool HasCommand(const Process& process, const std::vector<std::string>& command) {
  const std::vector<std::string>& arguments = process.arguments;
  return !command.empty() && arguments.size() >= command.size() &&
         std::equal(command.rbegin(), command.rend(), arguments.rbegin());
}

// --- The records of one launcher

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

static void SortIn(const LogRecord& record, SupervisorRecords& supervisor) {
  if (record.kind == RecordKind::kStart) supervisor.starts.push_back(&record);
  if (record.kind == RecordKind::kEnd) supervisor.ends.push_back(&record);
  if (record.kind == RecordKind::kForkFailed) supervisor.fork_failed = &record;
  if (record.kind != RecordKind::kStart && record.kind != RecordKind::kEnd && record.kind != RecordKind::kForkFailed) {
    return;
  }
  supervisor.last = &record;
  supervisor.name = record.name;
  supervisor.has_name = true;
}

static LauncherRecords SortRecords(const LauncherFacts& facts, LauncherKnowledge& known) {
  LauncherRecords sorted;
  if (facts.log == nullptr) return sorted;
  const int32_t launcher = facts.process->pid;
  const int64_t since = facts.process->started_ms - kSlackMs;
  for (const LogRecord& record : facts.log->records) {
    if (record.time_ms < since) continue;  // A process that had the number before.
    if (record.process != launcher) {
      if (record.kind == RecordKind::kNoProgram) sorted.without_program.insert(std::string(record.name));
      if (record.kind == RecordKind::kEnd) sorted.by_child[record.process].push_back(&record);
      continue;
    }
    if (record.kind == RecordKind::kLost) known.records_were_lost = true;
    if (record.kind == RecordKind::kStart) known.shows_starts = true;
    if (record.kind == RecordKind::kParseError) known.parse_error = &record;
    if (record.kind == RecordKind::kForkFailed) known.fork_has_failed = true;
    SortIn(record, sorted.by_thread[record.thread]);
  }
  for (auto thread = sorted.by_thread.begin(); thread != sorted.by_thread.end();) {
    thread = thread->second.has_name ? std::next(thread) : sorted.by_thread.erase(thread);
  }
  return sorted;
}

// --- Which thread supervises which item

// A supervisor's thread: one that is there, or one that only the log knows.
struct Supervisor {
  uint64_t id = 0;
  const ProcessThread* thread = nullptr;
  const SupervisorRecords* records = nullptr;
  const Process* child = nullptr;  // What it waits for; no zombie.
  std::optional<size_t> item;      // Index into the facts' items.
};

class Matcher {
 public:
  Matcher(const LauncherFacts& known_facts, const LauncherRecords& known_records)
      : facts(known_facts), records(known_records) {}

  std::vector<Supervisor> Match() {
    Gather();
    FindChildren();
    for (size_t i = 0; i < facts.items.size(); ++i) {
      const PlannedItem::Fate fate = facts.items[i].fate;
      if (fate == PlannedItem::Fate::kSupervised || fate == PlannedItem::Fate::kReplaced) free_items.push_back(i);
    }
    // Everything is as it was read, and everybody is there: the order alone tells.
    if (!facts.list_was_changed && alive == supervisors.size() && alive == free_items.size() && NamesFitInOrder()) {
      for (size_t i = 0; i < supervisors.size(); ++i) supervisors[i].item = free_items[i];
    } else {
      MatchByName();
      if (!facts.list_was_changed) MatchBetweenAnchors();
    }
    MatchByCommand();
    return std::move(supervisors);
  }

 private:
  void Gather() {
    std::set<uint64_t> there;
    const auto& threads = facts.process->threads;
    for (size_t i = 1; i < threads.size(); ++i) {
      Supervisor supervisor;
      supervisor.id = threads[i].id;
      supervisor.thread = &threads[i];
      const auto found = records.by_thread.find(threads[i].id);
      // A thread whose item was given up is gone; what has its number now is another one.
      if (found != records.by_thread.end()) supervisor.records = &found->second;
      there.insert(threads[i].id);
      supervisors.push_back(supervisor);
    }
    alive = supervisors.size();
    for (const auto& [id, of_thread] : records.by_thread) {
      if (there.count(id) > 0) continue;
      Supervisor supervisor;
      supervisor.id = id;
      supervisor.records = &of_thread;
      supervisors.push_back(supervisor);
    }
  }

  void FindChildren() {
    for (Supervisor& supervisor : supervisors) {
      if (supervisor.thread == nullptr || !supervisor.thread->children) continue;
      children_are_told = true;
      for (const int32_t pid : *supervisor.thread->children) {
        const Process* const child = facts.table->Find(pid);
        if (child != nullptr && !child->is_zombie) supervisor.child = child;
      }
    }
  }

  bool NamesFitInOrder() const {
    for (size_t i = 0; i < supervisors.size(); ++i) {
      const PlannedItem& item = facts.items[free_items[i]];
      const SupervisorRecords* const found = supervisors[i].records;
      if (found != nullptr && found->name != LoggedForm(item.name.value_or(""))) return false;
    }
    return true;
  }

  void Assign(Supervisor& supervisor, size_t item) {
    supervisor.item = item;
    free_items.erase(std::find(free_items.begin(), free_items.end(), item));
  }

  void MatchByName() {
    std::map<std::string, std::vector<size_t>> items_by_name;
    for (const size_t item : free_items) {
      items_by_name[LoggedForm(facts.items[item].name.value_or(""))].push_back(item);
    }
    std::map<std::string, std::vector<Supervisor*>> by_name;
    for (Supervisor& supervisor : supervisors) {
      if (supervisor.records != nullptr) by_name[supervisor.records->name].push_back(&supervisor);
    }
    for (auto& [name, named] : by_name) {
      const auto found = items_by_name.find(name);
      if (found == items_by_name.end()) continue;
      const std::vector<size_t>& items = found->second;
      // Of items of one name the last is supervised; the others are replaced one after the other, and their threads
      // are gone soon.
      std::vector<Supervisor*> in_order;
      for (const bool is_gone : {true, false}) {
        for (Supervisor* const supervisor : named) {
          if ((supervisor->thread == nullptr) == is_gone) in_order.push_back(supervisor);
        }
      }
      if (in_order.size() > items.size()) continue;
      if (in_order.back()->thread != nullptr) {
        Assign(*in_order.back(), items.back());
        in_order.pop_back();
      }
      for (size_t i = 0; i < in_order.size(); ++i) Assign(*in_order[i], items[i]);
    }
  }

  // Between two threads whose items are known lie as many threads as items, or nothing is said.
  void MatchBetweenAnchors() {
    std::vector<Supervisor*> segment;
    size_t first_item = 0;
    for (size_t i = 0; i <= alive; ++i) {
      if (i < alive && !supervisors[i].item) {
        segment.push_back(&supervisors[i]);
        continue;
      }
      const size_t end_item = i < alive ? *supervisors[i].item : facts.items.size();
      MatchSegment(segment, first_item, end_item);
      segment.clear();
      first_item = end_item + 1;
    }
  }

  void MatchSegment(std::vector<Supervisor*> segment, size_t first_item, size_t end_item) {
    std::vector<size_t> items;
    for (const size_t item : free_items) {
      // A replaced item's thread is gone once the launcher has started everything.
      if (item >= first_item && item < end_item) items.push_back(item);
    }
    if (items.size() > segment.size()) {
      items.erase(std::remove_if(items.begin(), items.end(),
                                 [&](size_t item) { return facts.items[item].fate == PlannedItem::Fate::kReplaced; }),
                  items.end());
    }
    if (items.size() < segment.size() && children_are_told) {
      // A thread that waits for no child, and has never logged one's end, supervises nothing.
      segment.erase(std::remove_if(segment.begin(), segment.end(),
                                   [](const Supervisor* s) { return s->child == nullptr && s->records == nullptr; }),
                    segment.end());
    }
    if (items.size() != segment.size()) return;
    for (size_t i = 0; i < items.size(); ++i) Assign(*segment[i], items[i]);
  }

  // What is left is told by what it runs, where that is one item's alone.
  void MatchByCommand() {
    std::vector<const Process*> loose;
    if (!children_are_told) {
      for (const Process* child : facts.table->ChildrenOf(facts.process->pid)) {
        if (!child->is_zombie) loose.push_back(child);
      }
    }
    for (Supervisor& supervisor : supervisors) {
      if (supervisor.item || supervisor.child == nullptr) continue;
      std::vector<size_t> fitting;
      for (const size_t item : free_items) {
        if (HasCommand(*supervisor.child, facts.items[item].command)) fitting.push_back(item);
      }
      if (fitting.size() == 1) Assign(supervisor, fitting[0]);
    }
    MatchLooseChildren(loose);
  }

  // Where the platform does not tell which thread has forked a child.
  void MatchLooseChildren(const std::vector<const Process*>& loose) {
    for (Supervisor& supervisor : supervisors) {
      if (!supervisor.item || supervisor.child != nullptr || supervisor.thread == nullptr) continue;
      const std::vector<std::string>& command = facts.items[*supervisor.item].command;
      const Process* found = nullptr;
      size_t count = 0;
      for (const Process* child : loose) {
        if (!HasCommand(*child, command)) continue;
        found = child;
        ++count;
      }
      size_t items_with_it = 0;
      for (const Supervisor& other : supervisors) {
        if (other.item && other.thread != nullptr && facts.items[*other.item].command == command) ++items_with_it;
      }
      if (count == 1 && items_with_it == 1) supervisor.child = found;
    }
    // Second supervisors carry no command. If one item alone can be theirs, it is.
    std::vector<const Process*> failed;
    for (const Process* child : loose) {
      if (IsSecondSupervisor(*child, *facts.process)) failed.push_back(child);
    }
    std::vector<Supervisor*> childless;
    for (Supervisor& supervisor : supervisors) {
      const bool may_pause = supervisor.records != nullptr && !supervisor.records->ends.empty();
      if (supervisor.item && supervisor.thread != nullptr && supervisor.child == nullptr && !may_pause) {
        childless.push_back(&supervisor);
      }
    }
    if (failed.size() != childless.size()) return;
    std::sort(failed.begin(), failed.end(),
              [](const Process* a, const Process* b) { return a->start_mark < b->start_mark; });
    for (size_t i = 0; i < failed.size(); ++i) childless[i]->child = failed[i];
  }

  const LauncherFacts& facts;
  const LauncherRecords& records;
  std::vector<Supervisor> supervisors;  // Those that are there in order of birth, then those that are gone.
  size_t alive = 0;
  std::vector<size_t> free_items;
  bool children_are_told = false;
};

// --- What one item does

static int64_t RoundedSeconds(int64_t ms) { return (ms + 500) / 1000; }

class ItemInference {
 public:
  ItemInference(const LauncherFacts& known_facts, const LauncherRecords& known_records,
                const LauncherKnowledge& known_launcher, const Supervisor& of_item)
      : facts(known_facts), records(known_records), launcher(known_launcher), supervisor(of_item) {}

  // Fills in what `item`, whose plan is known already, does.
  void Tell(ItemKnowledge& item) {
    item.ends_exact = launcher.log_reaches_back && !launcher.records_were_lost && launcher.log_shows_ends;
    if (supervisor.records != nullptr) own_ends = static_cast<int64_t>(supervisor.records->ends.size());
    item.ends = own_ends;
    CollectRuns(item);
    if (supervisor.thread == nullptr) {
      TellOfGoneThread(item);
    } else if (supervisor.child != nullptr) {
      TellOfChild(item);
    } else {
      TellOfPause(item);
    }
  }

  // The number of the present run, or of the one that has ended last during a pause.
  std::optional<int64_t> PresentRun(const ItemKnowledge& item) const {
    if (supervisor.child != nullptr) {
      if (item.ends_exact) return own_ends + 1;
      return std::nullopt;
    }
    if (item.ends_exact) return own_ends;
    return LastRunByStarts();
  }

 private:
  void CollectRuns(ItemKnowledge& item) const {
    if (supervisor.records == nullptr) return;
    const auto& ends = supervisor.records->ends;
    const auto& starts = supervisor.records->starts;
    size_t next_start = 0;
    for (size_t i = 0; i < ends.size(); ++i) {
      EndedRun run;
      run.record = ends[i];
      run.end_ms = ends[i]->time_ms;
      run.pid = ends[i]->child;
      run.ret = ends[i]->ret;
      run.status = ends[i]->status;
      run.pause_after_seconds = static_cast<int64_t>(i) + 1;
      // The last start that was written before the end and after the end before it.
      while (next_start < starts.size() && starts[next_start] < ends[i]) {
        if (i == 0 || starts[next_start] > ends[i - 1]) run.start_ms = starts[next_start]->time_ms;
        ++next_start;
      }
      if (!run.start_ms && item.ends_exact) {
        if (i > 0) {
          run.start_ms = ends[i - 1]->time_ms + static_cast<int64_t>(i) * 1000;
        } else {
          const int64_t born = supervisor.thread != nullptr ? supervisor.thread->started_ms : 0;
          run.start_ms = born > 0 ? born : facts.process->started_ms;
        }
      }
      item.runs.push_back(run);
    }
  }

  // Two ends and the start between them tell the number of runs, however much of the log is missing.
  std::optional<int64_t> LastRunByStarts() const {
    if (supervisor.records == nullptr) return std::nullopt;
    const auto& ends = supervisor.records->ends;
    const auto& starts = supervisor.records->starts;
    if (ends.size() < 2 || starts.empty()) return std::nullopt;
    const LogRecord* const end = ends[ends.size() - 2];
    for (const LogRecord* start : starts) {
      if (start > end && start < ends.back()) return RoundedSeconds(start->time_ms - end->time_ms) + 1;
    }
    return std::nullopt;
  }

  void TellOfGoneThread(ItemKnowledge& item) const {
    const bool has_records = supervisor.records != nullptr;
    if (has_records && supervisor.records->fork_failed != nullptr) {
      item.state = ItemState::kGivenUp;
      item.since_ms = supervisor.records->fork_failed->time_ms;
      return;
    }
    if (!item.runs.empty()) item.since_ms = item.runs.back().end_ms;
    if (launcher.phase == Phase::kStopping || launcher.phase == Phase::kEnding) {
      item.state = ItemState::kDone;
      item.reason = "the launcher is stopping and has ended it";
    } else if (item.run_once && !item.runs.empty()) {
      item.state = ItemState::kDone;
    } else if (item.run_once && !item.ends_exact) {
      item.state = ItemState::kDone;
      item.reason =
          "its supervisor is gone; the log does not tell whether its program has ended or could not be forked";
    } else {
      item.reason =
          "its supervisor is gone, and the log does not tell why: perhaps \"Failed to fork\" was cut out of it";
    }
  }

  void TellOfChild(ItemKnowledge& item) {
    const Process* program = supervisor.child;
    while (program != nullptr && IsSecondSupervisor(*program, *facts.process)) {
      item.chain.push_back(program->pid);
      const Process* next = nullptr;
      for (const Process* child : facts.table->ChildrenOf(program->pid)) {
        if (!child->is_zombie) next = child;
      }
      program = next;
    }
    if (!item.chain.empty()) CollectRunsOfChain(item);
    if (program != nullptr) {
      item.state = ItemState::kRunning;
      item.pid = program->pid;
      item.since_ms = program->started_ms;
      if (item.chain.empty()) HoldAgainstPause(item, program->started_ms);
      return;
    }
    item.state = ItemState::kFailing;
    item.since_ms = supervisor.child->started_ms;
    TellNextAttempt(item);
  }

  void CollectRunsOfChain(ItemKnowledge& item) const {
    for (const int32_t pid : item.chain) {
      const auto found = records.by_child.find(pid);
      if (found == records.by_child.end()) continue;
      for (const LogRecord* record : found->second) {
        const bool is_chains_own = std::find(item.chain.begin(), item.chain.end(), record->child) != item.chain.end();
        if (is_chains_own || record->time_ms < supervisor.child->started_ms - kSlackMs) continue;
        EndedRun run;
        run.record = record;
        run.end_ms = record->time_ms;
        run.pid = record->child;
        run.ret = record->ret;
        run.status = record->status;
        run.pause_after_seconds = static_cast<int64_t>(item.runs.size()) + 1;
        item.runs.push_back(run);
        ++item.ends;
      }
    }
  }

  // The m-th of a chain pauses, after its own failed start, m - 1 seconds longer than the supervisor would have.
  void TellNextAttempt(ItemKnowledge& item) const {
    const Process* const last = facts.table->Find(item.chain.back());
    if (item.run_once) {
      item.reason = "not started again: run_once";
      return;
    }
    std::optional<int64_t> pause;
    int64_t ends_by_last = 0;
    int64_t from_ms = last->started_ms;
    for (const EndedRun& run : item.runs) {
      if (run.record->process != last->pid) continue;
      ++ends_by_last;
      from_ms = run.end_ms;
    }
    if (item.ends_exact) {
      pause = own_ends + static_cast<int64_t>(item.chain.size()) + ends_by_last;
    } else if (item.chain.size() >= 2) {
      const Process* const before = facts.table->Find(item.chain[item.chain.size() - 2]);
      pause = RoundedSeconds(last->started_ms - before->started_ms) + 1 + ends_by_last;
    }
    item.pause_seconds = pause;
    if (pause) item.next_start_ms = from_ms + *pause * 1000;
  }

  // A start that came later than the pause said tells that an end is missing, or that the machine slept.
  void HoldAgainstPause(ItemKnowledge& item, int64_t started_ms) const {
    if (!item.ends_exact || item.runs.empty()) return;
    constexpr int64_t kLateMs = 3000;
    const int64_t gap_ms = started_ms - item.runs.back().end_ms;
    if (gap_ms > own_ends * 1000 + kLateMs + own_ends * 10) item.ends_exact = false;
  }

  void TellOfPause(ItemKnowledge& item) const {
    if (supervisor.thread->children == std::nullopt && item.runs.empty()) {
      item.reason = "which of the launcher's children is its program can't be told here";
      return;
    }
    if (item.run_once && !item.runs.empty()) {
      item.state = ItemState::kDone;
      item.since_ms = item.runs.back().end_ms;
      return;
    }
    item.state = item.program.empty() ? ItemState::kNoProgram : ItemState::kPausing;
    item.pause_seconds = item.ends_exact && own_ends == 0 ? std::nullopt : PresentRun(item);
    if (!item.runs.empty()) {
      item.since_ms = item.runs.back().end_ms;
      if (item.pause_seconds) item.next_start_ms = *item.since_ms + *item.pause_seconds * 1000;
    } else {
      item.reason = "since when is not in the log";
    }
  }

  const LauncherFacts& facts;
  const LauncherRecords& records;
  const LauncherKnowledge& launcher;
  const Supervisor& supervisor;
  int64_t own_ends = 0;
};

// The last three runs were each shorter than a minute, or than the pause before them; and so is the present one.
static bool IsCrashLoop(const ItemKnowledge& item, int64_t now_ms) {
  constexpr size_t kRuns = 3;
  constexpr int64_t kShortMs = 60000;
  if (item.state != ItemState::kRunning && item.state != ItemState::kPausing) return false;
  if (item.runs.size() < kRuns || item.run_once) return false;
  for (size_t i = item.runs.size() - kRuns; i < item.runs.size(); ++i) {
    const EndedRun& run = item.runs[i];
    const int64_t pause_before_ms = i == 0 ? 0 : item.runs[i - 1].pause_after_seconds * 1000;
    int64_t lasted_ms = 0;
    if (run.start_ms) {
      lasted_ms = run.end_ms - *run.start_ms;
    } else if (i > 0) {
      lasted_ms = run.end_ms - item.runs[i - 1].end_ms - pause_before_ms;  // At most: the pause may have been longer.
    } else {
      return false;
    }
    if (lasted_ms >= std::max(kShortMs, pause_before_ms)) return false;
  }
  if (item.state != ItemState::kRunning || !item.since_ms) return true;
  const int64_t pause_before_ms = item.runs.back().pause_after_seconds * 1000;
  return now_ms - *item.since_ms < std::max(kShortMs, pause_before_ms);
}

static bool IsTrouble(const ItemKnowledge& item) {
  switch (item.state) {
    case ItemState::kFailing:
    case ItemState::kGivenUp:
    case ItemState::kNoProgram:
    case ItemState::kSkipped:
    case ItemState::kNeverRead:
    case ItemState::kUnknown:
      return true;
    case ItemState::kRunning:
    case ItemState::kPausing:
      return item.is_crash_loop;
    case ItemState::kDone:
    case ItemState::kReplaced:
      break;
  }
  return false;
}

// --- The launcher

static Phase TellPhase(const LauncherFacts& facts, const std::vector<Supervisor>& supervisors) {
  const Process& launcher = *facts.process;
  if (launcher.sigterm == SigtermAction::kIgnored) return Phase::kEnding;
  if (launcher.is_sigterm_blocked.value_or(false)) return Phase::kStopping;
  if (launcher.sigterm == SigtermAction::kDefault) return Phase::kStarting;
  const bool has_supervised = std::any_of(supervisors.begin(), supervisors.end(), [](const Supervisor& supervisor) {
    return supervisor.child != nullptr || supervisor.records != nullptr;
  });
  if (facts.waits_on_no_file && !has_supervised && (launcher.threads.size() <= 1 || !launcher.is_sleeping)) {
    return Phase::kReading;
  }
  if (!facts.list_is_known || facts.list_was_changed) return Phase::kSupervising;
  size_t expected = 0;
  int64_t longest_start_ms = 5000;
  for (const PlannedItem& item : facts.items) {
    const bool is_replaced = item.fate == PlannedItem::Fate::kReplaced;
    if (is_replaced) longest_start_ms += 2000;
    if (is_replaced || item.fate == PlannedItem::Fate::kSupervised) ++expected;
  }
  const bool is_young = facts.now_ms - launcher.started_ms < longest_start_ms;
  return supervisors.size() < expected && is_young ? Phase::kStarting : Phase::kSupervising;
}

static ItemKnowledge FromPlan(const PlannedItem& plan) {
  ItemKnowledge item;
  item.number = plan.number;
  item.has_name = plan.name.has_value();
  item.name = plan.name.value_or("");
  item.program = plan.program;
  item.run_once = plan.run_once;
  return item;
}

static SupervisorKnowledge ForStop(const Supervisor& supervisor, const ItemKnowledge* item,
                                   std::optional<int64_t> present_run) {
  SupervisorKnowledge known;
  known.thread_is_there = supervisor.thread != nullptr;
  if (item != nullptr) known.item = item->name;
  if (item == nullptr && supervisor.records != nullptr) known.item = supervisor.records->name;
  if (supervisor.child != nullptr) {
    known.child_is_there = true;
    known.stored_pid = supervisor.child->pid;
  } else if (supervisor.records != nullptr && !supervisor.records->ends.empty()) {
    known.stored_pid = supervisor.records->ends.back()->child;
  }
  known.pause_seconds = present_run;
  if (item != nullptr && item->chain.empty()) known.next_start_ms = item->next_start_ms;
  known.is_surely_done = supervisor.thread == nullptr && item != nullptr && item->state == ItemState::kDone &&
                         !item->runs.empty() && !item->runs.back().record->may_be_failed_fork;
  return known;
}

LauncherKnowledge Infer(const LauncherFacts& facts) {
  LauncherKnowledge known;
  const LauncherRecords records = SortRecords(facts, known);
  known.log_reaches_back = facts.log != nullptr && facts.log->ReachesBackTo(facts.process->started_ms);
  // A line of this launcher proves its level.
  known.log_shows_ends = facts.log != nullptr && (facts.log_shows_ends || !records.by_thread.empty());
  const std::vector<Supervisor> supervisors = Matcher(facts, records).Match();
  known.phase = TellPhase(facts, supervisors);

  std::vector<const Supervisor*> of_item(facts.items.size(), nullptr);
  for (const Supervisor& supervisor : supervisors) {
    if (supervisor.item) of_item[*supervisor.item] = &supervisor;
    // A thread that is there has not failed to fork: the line is an oddly named item's end.
    if (supervisor.thread != nullptr || supervisor.records == nullptr) continue;
    const auto& ends = supervisor.records->ends;
    if (!ends.empty() && ends.back()->may_be_failed_fork) known.fork_may_have_failed = true;
  }

  static const Supervisor kNobody;
  size_t expected = 0;
  size_t accounted = 0;
  for (size_t i = 0; i < facts.items.size(); ++i) {
    const PlannedItem& plan = facts.items[i];
    ItemKnowledge item = FromPlan(plan);
    if (plan.fate == PlannedItem::Fate::kSkipped || plan.fate == PlannedItem::Fate::kNeverRead) {
      item.state = plan.fate == PlannedItem::Fate::kSkipped ? ItemState::kSkipped : ItemState::kNeverRead;
      item.trouble = true;
      known.items.push_back(std::move(item));
      continue;
    }
    const Supervisor& supervisor = of_item[i] != nullptr ? *of_item[i] : kNobody;
    ItemInference inference(facts, records, known, supervisor);
    inference.Tell(item);
    if (plan.fate == PlannedItem::Fate::kReplaced) {
      item.state = ItemState::kReplaced;
      item.reason.clear();
    } else {
      ++expected;
      if (of_item[i] != nullptr) {
        ++accounted;
        known.supervisors.push_back(ForStop(supervisor, &item, inference.PresentRun(item)));
      }
      if (of_item[i] == nullptr && facts.list_was_changed) {
        item.state = ItemState::kUnknown;
        item.since_ms.reset();
        item.reason = "the list was changed after the launcher's start, and nothing tells whether this item was in it";
      } else if (of_item[i] == nullptr && known.phase == Phase::kStarting) {
        item.state = ItemState::kUnknown;
        item.reason = "the launcher is still starting";
      }
      const bool is_said_to_have_none = records.without_program.count(LoggedForm(item.name)) > 0;
      if (item.state == ItemState::kNoProgram && is_said_to_have_none) item.reason.clear();
    }
    item.is_crash_loop = IsCrashLoop(item, facts.now_ms);
    item.trouble = IsTrouble(item);
    if (item.runs.size() > kKeptRuns) item.runs.erase(item.runs.begin(), item.runs.end() - kKeptRuns);
    known.items.push_back(std::move(item));
  }

  // Who is supervised and not in the list, or not in it any more.
  const bool all_items_are_found = accounted == expected && !facts.list_was_changed && facts.list_is_known;
  for (const Supervisor& supervisor : supervisors) {
    if (supervisor.item) continue;
    if (supervisor.records == nullptr) {
      if (!all_items_are_found) known.supervisors.push_back(ForStop(supervisor, nullptr, std::nullopt));
      continue;
    }
    ItemKnowledge item;
    item.name = supervisor.records->name;
    ItemInference inference(facts, records, known, supervisor);
    inference.Tell(item);
    if (item.state == ItemState::kNoProgram) item.state = ItemState::kPausing;  // Its program is not known.
    if (item.reason.empty()) item.reason = "it is not in the list any more";
    item.is_crash_loop = IsCrashLoop(item, facts.now_ms);
    item.trouble = IsTrouble(item);
    if (item.runs.size() > kKeptRuns) item.runs.erase(item.runs.begin(), item.runs.end() - kKeptRuns);
    known.supervisors.push_back(ForStop(supervisor, &item, inference.PresentRun(item)));
    known.items.push_back(std::move(item));
  }
  known.supervisors_are_counted = all_items_are_found;
  return known;
}

// --- The stop

static std::string SignalsEverybody() {
  return "SIGTERM would send SIGKILL to every process that this user may signal";
}

StopOutlook JudgeStop(const LauncherKnowledge& launcher, int64_t now_ms,
                      const std::function<std::string(int32_t)>& owner_of) {
  StopOutlook outlook;
  switch (launcher.phase) {
    case Phase::kReading:
      outlook.reason = "it reads something that is not a file for ever, and SIGTERM does nothing then; SIGKILL ends it";
      return outlook;
    case Phase::kStarting:
      outlook.reason = "it is still starting, and SIGTERM would wake nobody; try again in a few seconds";
      return outlook;
    case Phase::kStopping:
    case Phase::kEnding:
      outlook.reason = "it is on its way out already";
      return outlook;
    case Phase::kSupervising:
      break;
  }
  if (launcher.fork_has_failed) {
    outlook.reason = "it has logged \"Failed to fork\": " + SignalsEverybody();
    return outlook;
  }
  if (launcher.fork_may_have_failed) {
    outlook.reason = "a line of its log may say \"Failed to fork\", and then " + SignalsEverybody();
    return outlook;
  }
  const bool log_tells_all = launcher.log_reaches_back && launcher.log_shows_ends && !launcher.records_were_lost;
  if (!launcher.supervisors_are_counted && !log_tells_all) {
    outlook.reason =
        "that no fork has failed can't be told: not all its supervisors are there, and its log does not "
        "reach back to its start; after a failed fork " +
        SignalsEverybody();
    return outlook;
  }
  int64_t running = 0;
  int64_t longest_pause_ms = 0;
  int64_t at_most = 0;
  bool is_estimated = true;
  for (const SupervisorKnowledge& supervisor : launcher.supervisors) {
    const std::string whose = supervisor.item.empty() ? "an item" : supervisor.item;
    if (!supervisor.thread_is_there && !supervisor.is_surely_done) {
      outlook.reason = "the supervisor of " + whose +
                       " is gone, and the log does not tell that its fork has not failed; "
                       "after a failed fork " +
                       SignalsEverybody();
      return outlook;
    }
    if (!supervisor.child_is_there) {
      if (!supervisor.stored_pid) {
        outlook.reason =
            "which process number it would signal for " + whose + " is not in the log; try again while that runs";
        return outlook;
      }
      const std::string owner = owner_of(*supervisor.stored_pid);
      if (!owner.empty()) {
        outlook.reason = "SIGTERM would kill " + owner;
        outlook.reason += ", which has the number that " + whose + " had";
        return outlook;
      }
    }
    if (!supervisor.thread_is_there) continue;
    if (!supervisor.pause_seconds) {
      is_estimated = false;
    } else if (supervisor.child_is_there) {
      running += *supervisor.pause_seconds;
      at_most += *supervisor.pause_seconds + 1;
    } else {
      if (supervisor.next_start_ms) longest_pause_ms = std::max(longest_pause_ms, *supervisor.next_start_ms - now_ms);
      at_most += *supervisor.pause_seconds + 1;
    }
  }
  outlook.is_safe = true;
  if (is_estimated) {
    outlook.seconds_at_least = std::max(running, (longest_pause_ms + 999) / 1000);
    outlook.seconds_at_most = std::max(at_most, *outlook.seconds_at_least);
  }
  return outlook;
}

// --- Leftovers

static bool IsLeftoverSupervisor(const Process& process, const std::vector<const Process*>& launchers) {
  if (!IsLauncherPath(process.executable) || process.is_zombie || process.sigterm != SigtermAction::kDefault)
    return false;
  return std::none_of(launchers.begin(), launchers.end(),
                      [&](const Process* launcher) { return launcher->pid == process.pid; });
}

std::vector<Leftover> FindLeftovers(const ProcessTable& table, const std::vector<const Process*>& launchers,
                                    const std::vector<int32_t>& gone_launchers, const std::vector<PlannedItem>& items) {
  std::set<int32_t> owned;  // Launchers, and all that descends from one.
  for (const Process* launcher : launchers) owned.insert(launcher->pid);
  std::unordered_map<int32_t, std::vector<const Process*>> children;
  for (const Process& process : table.processes) children[process.parent].push_back(&process);
  std::vector<int32_t> to_visit(owned.begin(), owned.end());
  while (!to_visit.empty()) {
    const int32_t pid = to_visit.back();
    to_visit.pop_back();
    for (const Process* child : children[pid]) {
      if (owned.insert(child->pid).second) to_visit.push_back(child->pid);
    }
  }
  const auto item_of = [&](const Process& process) -> std::optional<std::string> {
    for (const PlannedItem& item : items) {
      if (item.name && HasCommand(process, item.command)) return item.name;
    }
    return std::nullopt;
  };
  std::vector<Leftover> leftovers;
  std::set<int32_t> chains;
  for (const Process& process : table.processes) {
    if (owned.count(process.pid) > 0 || !IsLeftoverSupervisor(process, launchers)) continue;
    chains.insert(process.pid);
  }
  for (const Process& process : table.processes) {
    if (owned.count(process.pid) > 0 || process.is_zombie) continue;
    Leftover leftover;
    leftover.pid = process.pid;
    leftover.parent = process.parent;
    leftover.since_ms = process.started_ms;
    const bool leader_is_gone = process.group != process.pid && table.Find(process.group) == nullptr;
    const bool is_of_gone_launcher =
        std::find(gone_launchers.begin(), gone_launchers.end(), process.group) != gone_launchers.end();
    if (leader_is_gone && is_of_gone_launcher) leftover.launcher = process.group;
    if (chains.count(process.pid) > 0) {
      leftovers.push_back(leftover);
      continue;
    }
    leftover.is_program = true;
    leftover.item = item_of(process);
    const bool is_chains_program = chains.count(process.parent) > 0;
    // A launcher's programs stay in its process group, and lose their parent with it.
    const bool is_orphan = table.Find(process.parent) == nullptr || process.parent == 1 ||
                           (leader_is_gone && process.group != table.Find(process.parent)->group);
    // What a program has started itself stays in the group as well, and can't be told from one if no list is known.
    const bool may_be_program = items.empty() ? is_of_gone_launcher : leftover.item.has_value();
    const bool is_gone_launchers = is_orphan && leader_is_gone && may_be_program;
    if (is_chains_program || is_gone_launchers) leftovers.push_back(leftover);
  }
  return leftovers;
}
