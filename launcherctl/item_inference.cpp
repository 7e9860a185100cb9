#include "launcherctl/item_inference.h"

#include <algorithm>

static constexpr size_t kKeptRuns = 20;

static int64_t RoundedSeconds(int64_t ms) { return (ms + 500) / 1000; }

static int64_t OwnEnds(const Supervisor& supervisor) {
  return supervisor.records != nullptr ? static_cast<int64_t>(supervisor.records->ends.size()) : 0;
}

// Two ends and the start between them tell the number of runs, however much of the log is missing.
static std::optional<int64_t> LastRunByStarts(const Supervisor& supervisor) {
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

std::optional<int64_t> PresentRun(const Supervisor& supervisor, const ItemKnowledge& item) {
  if (supervisor.child != nullptr) {
    if (item.ends_exact) return OwnEnds(supervisor) + 1;
    return std::nullopt;
  }
  if (item.ends_exact) return OwnEnds(supervisor);
  return LastRunByStarts(supervisor);
}

namespace {

class Inference {
 public:
  Inference(const LauncherFacts& known_facts, const LauncherRecords& known_records,
            const LauncherKnowledge& known_launcher, const Supervisor& of_item)
      : facts(known_facts),
        records(known_records),
        launcher(known_launcher),
        supervisor(of_item),
        own_ends(OwnEnds(of_item)) {}

  // Fills in what `item`, whose plan is known already, does.
  void Tell(ItemKnowledge& item) {
    item.ends_exact = launcher.log_reaches_back && !launcher.records_were_lost && launcher.log_shows_ends;
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
      item.reason = "this system does not tell which of the launcher's children is its program";
      return;
    }
    if (item.run_once && !item.runs.empty()) {
      item.state = ItemState::kDone;
      item.since_ms = item.runs.back().end_ms;
      return;
    }
    item.state = item.program.empty() ? ItemState::kNoProgram : ItemState::kPausing;
    item.pause_seconds = item.ends_exact && own_ends == 0 ? std::nullopt : PresentRun(supervisor, item);
    if (!item.runs.empty()) {
      item.since_ms = item.runs.back().end_ms;
      if (item.pause_seconds) item.next_start_ms = *item.since_ms + *item.pause_seconds * 1000;
    } else {
      item.reason = "the log does not tell since when";
    }
  }

  const LauncherFacts& facts;
  const LauncherRecords& records;
  const LauncherKnowledge& launcher;
  const Supervisor& supervisor;
  const int64_t own_ends;
};

}  // namespace

void InferItem(const LauncherFacts& facts, const LauncherRecords& records, const LauncherKnowledge& launcher,
               const Supervisor& supervisor, ItemKnowledge& item) {
  Inference(facts, records, launcher, supervisor).Tell(item);
}

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

void JudgeItem(ItemKnowledge& item, int64_t now_ms) {
  item.is_crash_loop = IsCrashLoop(item, now_ms);
  item.trouble = IsTrouble(item);
  if (item.runs.size() > kKeptRuns) item.runs.erase(item.runs.begin(), item.runs.end() - kKeptRuns);
}
