#include "launcherctl/model.h"

#include <algorithm>

#include "launcherctl/item_inference.h"
#include "launcherctl/supervisors.h"

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
  const std::vector<Supervisor> supervisors = MatchSupervisors(facts, records);
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
    InferItem(facts, records, known, supervisor, item);
    if (plan.fate == PlannedItem::Fate::kReplaced) {
      item.state = ItemState::kReplaced;
      item.reason.clear();
    } else {
      ++expected;
      if (of_item[i] != nullptr) {
        ++accounted;
        known.supervisors.push_back(ForStop(supervisor, &item, PresentRun(supervisor, item)));
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
    JudgeItem(item, facts.now_ms);
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
    InferItem(facts, records, known, supervisor, item);
    if (item.state == ItemState::kNoProgram) item.state = ItemState::kPausing;  // Its program is not known.
    if (item.reason.empty()) item.reason = "it is not in the list any more";
    JudgeItem(item, facts.now_ms);
    known.supervisors.push_back(ForStop(supervisor, &item, PresentRun(supervisor, item)));
    known.items.push_back(std::move(item));
  }
  known.supervisors_are_counted = all_items_are_found;
  return known;
}
