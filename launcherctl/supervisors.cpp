#include "launcherctl/supervisors.h"

#include <algorithm>
#include <iterator>
#include <utility>

// --- Records

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

LauncherRecords SortRecords(const LauncherFacts& facts, LauncherKnowledge& known) {
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

// --- Matching

namespace {

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

}  // namespace

std::vector<Supervisor> MatchSupervisors(const LauncherFacts& facts, const LauncherRecords& records) {
  return Matcher(facts, records).Match();
}
