#include "launcherctl/history.h"

#include <algorithm>
#include <map>
#include <set>

#include "launcherctl/wait_status.h"

const char* HowName(HistoryLauncher::How how) {
  switch (how) {
    case HistoryLauncher::How::kRunning:
      return "running";
    case HistoryLauncher::How::kStopped:
      return "stopped";
    case HistoryLauncher::How::kFailed:
      return "failed";
    case HistoryLauncher::How::kEnded:
      return "ended";
    case HistoryLauncher::How::kUnknown:
      break;
  }
  return "unknown";
}

const char* StartIsName(StartIs start_is) {
  switch (start_is) {
    case StartIs::kLogged:
      return "logged";
    case StartIs::kComputed:
      return "computed";
    case StartIs::kUnknown:
      break;
  }
  return "unknown";
}

// --- Whose record it is

static bool IsOfAnItem(const LogRecord& record) {
  return record.kind == RecordKind::kStart || record.kind == RecordKind::kEnd ||
         record.kind == RecordKind::kForkFailed || record.kind == RecordKind::kNoProgram;
}

// A launcher's main thread supervises nothing; a forked child has no other. (Thread numbers are process numbers on
// Linux only.)
static bool IsByForkedChild(const LogRecord& record) {
  return IsOfAnItem(record) && record.thread == static_cast<uint64_t>(record.process);
}

// One launcher process: its own records, and those of its forked children.
struct Session {
  HistoryLauncher launcher;
  const HistoryPresence* presence = nullptr;
  bool begins_in_log = false;  // Nothing of it is missing at its beginning.
  int64_t earliest_ms = 0;     // It cannot have started before.
  std::vector<const LogRecord*> records;
  std::map<uint64_t, std::string_view> names_by_thread;
  std::set<std::string_view> names;
};

class Sessions {
 public:
  explicit Sessions(const HistoryFacts& given_facts) : facts(given_facts) {
    for (const LogRecord& record : facts.log->records) Take(record);
    for (const HistoryPresence& presence : facts.launchers) {
      if (present.count(presence.pid) == 0) Add(presence.started_ms, presence.pid);
    }
    for (Session& session : all) Conclude(session);
    // What has come before the next launcher is over.
    for (size_t i = 0; i < all.size(); ++i) {
      HistoryLauncher& launcher = all[i].launcher;
      const int64_t before_ms = i > 0 ? all[i - 1].launcher.last_record_ms : launcher.first_record_ms;
      all[i].earliest_ms = launcher.start_ms.value_or(std::min(before_ms, launcher.first_record_ms));
      const bool is_followed = i + 1 < all.size();
      if (launcher.how == HistoryLauncher::How::kUnknown && (is_followed || facts.launchers_are_known)) {
        launcher.how = HistoryLauncher::How::kEnded;
      }
    }
  }

  std::vector<Session> all;

 private:
  Session& Add(int64_t time_ms, int32_t pid) {
    Session session;
    session.launcher.pid = pid;
    session.launcher.first_record_ms = session.launcher.last_record_ms = time_ms;
    for (const HistoryPresence& presence : facts.launchers) {
      // The records of an earlier process of that number are another's. The log counts milliseconds, and the system
      // tells a start to some.
      constexpr int64_t kRoundingMs = 50;
      if (presence.pid != pid || time_ms < presence.started_ms - kRoundingMs) continue;
      session.presence = &presence;
      session.launcher.start_ms = presence.started_ms;
      session.launcher.how = HistoryLauncher::How::kRunning;
      present[pid] = all.size();
    }
    all.push_back(std::move(session));
    return all.back();
  }

  // The launcher of which a forked child's record is: the youngest that has named its item.
  Session* ParentOf(const LogRecord& record) {
    for (auto session = all.rbegin(); session != all.rend(); ++session) {
      if (session->names.count(record.name) > 0) return &*session;
    }
    return all.empty() ? nullptr : &all.back();
  }

  bool IsAnothers(const Session& session, const LogRecord& record) const {
    // A running launcher's records begin with its start.
    for (const HistoryPresence& presence : facts.launchers) {
      if (presence.pid == record.process && session.presence != &presence && record.time_ms >= presence.started_ms) {
        return true;
      }
    }
    if (!IsOfAnItem(record)) return false;
    const auto known = session.names_by_thread.find(record.thread);
    return known != session.names_by_thread.end() && known->second != record.name;
  }

  void Take(const LogRecord& record) {
    if (record.module != "launcher" || record.kind == RecordKind::kOther || record.kind == RecordKind::kLost) return;
    Session* session = nullptr;
    if (record.kind == RecordKind::kNoProgram || IsByForkedChild(record)) session = ParentOf(record);
    if (session == nullptr) {
      for (auto candidate = all.rbegin(); candidate != all.rend() && session == nullptr; ++candidate) {
        if (candidate->launcher.pid == record.process) session = &*candidate;
      }
      if (session != nullptr && IsAnothers(*session, record)) session = nullptr;
    }
    if (session == nullptr) {
      session = &Add(record.time_ms, record.process);
      session->begins_in_log = facts.log->ReachesBackTo(record.time_ms) || all.size() > 1;
    }
    session->records.push_back(&record);
    session->launcher.last_record_ms = record.time_ms;
    if (!IsOfAnItem(record)) return;
    if (record.kind == RecordKind::kStart) session->launcher.shows_starts = true;
    session->names.insert(record.name);
    if (record.process == session->launcher.pid) session->names_by_thread.emplace(record.thread, record.name);
  }

  static void Conclude(Session& session) {
    HistoryLauncher& launcher = session.launcher;
    const bool starts_with_start =
        !session.records.empty() && session.records.front()->kind == RecordKind::kStart && session.begins_in_log;
    if (!launcher.start_ms && starts_with_start) launcher.start_ms = launcher.first_record_ms;
    if (session.presence != nullptr) return;
    for (const LogRecord* record : session.records) {
      if (record->kind != RecordKind::kParseError) continue;
      launcher.how = HistoryLauncher::How::kFailed;
      launcher.end_ms = launcher.last_record_ms;
      return;
    }
    // A stop goes from item to item; the last thing that each has logged is its end, mostly by SIGKILL.
    constexpr int32_t kKilled = 9;
    std::map<std::string_view, const LogRecord*> last;
    for (const LogRecord* record : session.records) {
      if (IsOfAnItem(*record) && record->process == launcher.pid) last[record->name] = record;
    }
    if (last.empty() || session.records.back()->kind != RecordKind::kEnd) return;
    bool has_killed = false;
    for (const auto& [name, record] : last) {
      if (record->kind == RecordKind::kStart) return;
      has_killed = has_killed || (record->kind == RecordKind::kEnd && record->status == kKilled);
    }
    if (!has_killed) return;
    launcher.how = HistoryLauncher::How::kStopped;
    launcher.end_ms = launcher.last_record_ms;
  }

  const HistoryFacts& facts;
  std::map<int32_t, size_t> present;
};

// --- One item's runs in one session

class ItemInSession {
 public:
  ItemInSession(const Session& given_session, HistoryItem& given_item) : session(given_session), item(given_item) {}

  void Take(const LogRecord& record) {
    Supervisor& supervisor = SupervisorOf(record);
    switch (record.kind) {
      case RecordKind::kStart:
        Start(supervisor, record);
        break;
      case RecordKind::kEnd:
        End(supervisor, record);
        break;
      case RecordKind::kNoProgram:
        item.failed_starts.push_back({record.time_ms, true, false, std::nullopt});
        children_without_program.insert(record.process);
        break;
      case RecordKind::kForkFailed:
        item.failed_starts.push_back({record.time_ms, false, true, std::nullopt});
        supervisor.open_start_ms.reset();
        break;
      default:
        break;
    }
  }

  void Finish() {
    MarkStop();
    const HistoryPresence::Running* running = nullptr;
    for (size_t i = 0; session.presence != nullptr && i < session.presence->programs.size(); ++i) {
      if (session.presence->programs[i].name == item.name) running = &session.presence->programs[i];
    }
    if (running != nullptr) {
      HistoryRun run;
      run.start_ms = running->since_ms;
      run.start_is = StartIs::kComputed;
      run.pid = running->pid;
      const auto& last = last_supervisor;
      if (last != nullptr && last->open_start_ms) {
        run.start_ms = last->open_start_ms;
        run.start_is = StartIs::kLogged;
      }
      item.runs.push_back(run);
      return;
    }
    if (session.presence != nullptr || last_supervisor == nullptr) return;
    // A run whose end nobody has logged: the launcher was gone before, or the log ends here.
    if (!last_supervisor->open_start_ms) return;
    HistoryRun run;
    run.start_ms = last_supervisor->open_start_ms;
    run.start_is = StartIs::kLogged;
    // A launcher that may run on may have this run running.
    if (session.launcher.how != HistoryLauncher::How::kUnknown) {
      run.no_later_than = std::max(session.launcher.last_record_ms, *run.start_ms);
    }
    item.runs.push_back(run);
  }

 private:
  // The launcher's own thread for the item, or a second supervisor.
  struct Supervisor {
    int32_t process = 0;
    int64_t number = 0;  // Of the present run; 0 before the first record where it is not known.
    bool number_is_known = false;
    std::optional<int64_t> open_start_ms;  // Of a start that has no end yet.
    std::optional<int64_t> next_start_ms;  // The last end plus its pause.
    std::optional<int64_t> last_end_ms;
  };

  Supervisor& SupervisorOf(const LogRecord& record) {
    const bool is_childs = record.kind == RecordKind::kNoProgram;
    const int32_t process = is_childs ? session.launcher.pid : record.process;
    const auto [place, is_new] = supervisors.emplace(process, Supervisor());
    Supervisor& supervisor = place->second;
    if (is_new) {
      supervisor.process = process;
      if (process == session.launcher.pid) {
        supervisor.number_is_known = session.begins_in_log || session.presence != nullptr;
      } else if (last_supervisor != nullptr) {
        BeginChain(*last_supervisor, supervisor, record.time_ms);
      }
    }
    if (!is_childs) last_supervisor = &supervisor;
    return supervisor;
  }

  // `before` has forked a child that could not become the program: that start has failed.
  void BeginChain(Supervisor& before, Supervisor& supervisor, int64_t time_ms) {
    if (before.open_start_ms) {
      item.failed_starts.push_back({*before.open_start_ms, false, false, time_ms});
      before.open_start_ms.reset();
    }
    supervisor.number = before.number;
    // Without the starts nobody knows how many failed before this record.
    supervisor.number_is_known = before.number_is_known && session.launcher.shows_starts;
  }

  void Start(Supervisor& supervisor, const LogRecord& record) {
    // Of its own earlier start nothing has come: the end was lost, or cut out.
    if (supervisor.open_start_ms) supervisor.number_is_known = false;
    FillPause(supervisor, record.time_ms);
    ++supervisor.number;
    supervisor.open_start_ms = record.time_ms;
    supervisor.next_start_ms.reset();
  }

  // A start that is logged tells the pause before it, whatever is missing.
  void FillPause(Supervisor& supervisor, int64_t start_ms) {
    if (supervisor.number_is_known || !supervisor.last_end_ms || item.runs.empty()) return;
    const int64_t pause_seconds = (start_ms - *supervisor.last_end_ms + 500) / 1000;
    if (item.runs.back().end_ms == supervisor.last_end_ms) item.runs.back().pause_seconds = pause_seconds;
    supervisor.number = pause_seconds;
    supervisor.number_is_known = true;
  }

  void End(Supervisor& supervisor, const LogRecord& record) {
    if (!supervisor.open_start_ms) ++supervisor.number;
    const bool is_chains = supervisors.count(record.child) > 0 && record.child != supervisor.process;
    const bool had_no_program = children_without_program.count(record.child) > 0;
    if (!is_chains && !had_no_program) {
      HistoryRun run;
      if (supervisor.open_start_ms) {
        run.start_ms = supervisor.open_start_ms;
        run.start_is = StartIs::kLogged;
      } else if (supervisor.next_start_ms) {
        run.start_ms = std::min(*supervisor.next_start_ms, record.time_ms);
        run.start_is = StartIs::kComputed;
      }
      run.from_ms = session.earliest_ms;
      run.end_ms = record.time_ms;
      run.pid = record.child;
      if (record.ret >= 0) run.status = record.status;
      if (supervisor.number_is_known && !item.run_once) run.pause_seconds = supervisor.number;
      item.runs.push_back(run);
    }
    supervisor.open_start_ms.reset();
    supervisor.last_end_ms = record.time_ms;
    supervisor.next_start_ms.reset();
    if (supervisor.number_is_known) supervisor.next_start_ms = record.time_ms + supervisor.number * 1000;
  }

  // Of a launcher that was stopped the last end of each item is the stop's, and no pause follows it.
  void MarkStop() {
    if (session.launcher.how != HistoryLauncher::How::kStopped &&
        session.launcher.how != HistoryLauncher::How::kFailed) {
      return;
    }
    constexpr int32_t kKilled = 9;
    if (item.runs.empty() || item.runs.back().status != kKilled || last_supervisor == nullptr) return;
    if (item.runs.back().end_ms != last_supervisor->last_end_ms) return;
    item.runs.back().is_end_of_stop = true;
    item.runs.back().pause_seconds.reset();
  }

  const Session& session;
  HistoryItem& item;
  std::map<int32_t, Supervisor> supervisors;
  Supervisor* last_supervisor = nullptr;
  std::set<int32_t> children_without_program;
};

// --- All of it

static HistoryItem& ItemCalled(std::string_view logged_name, std::map<std::string, size_t, std::less<>>& by_logged,
                               History& history) {
  const auto known = by_logged.find(logged_name);
  if (known != by_logged.end()) return history.items[known->second];
  by_logged.emplace(logged_name, history.items.size());
  HistoryItem item;
  item.name = std::string(logged_name);
  history.items.push_back(std::move(item));
  return history.items.back();
}

History MakeHistory(const HistoryFacts& facts) {
  History history;
  std::map<std::string, size_t, std::less<>> by_logged;
  for (const HistoryName& listed : facts.names) {
    if (by_logged.emplace(LoggedForm(listed.name), history.items.size()).second) {
      HistoryItem item;
      item.name = listed.name;
      item.run_once = listed.run_once;
      item.is_listed = true;
      history.items.push_back(std::move(item));
    }
  }
  const Sessions sessions(facts);
  // All items first: what follows keeps references to them.
  for (const Session& session : sessions.all) {
    for (const std::string_view name : session.names) (void)ItemCalled(name, by_logged, history);
    if (session.presence == nullptr) continue;
    for (const auto& running : session.presence->programs) {
      (void)ItemCalled(LoggedForm(running.name), by_logged, history);
    }
  }
  for (const Session& session : sessions.all) {
    std::map<std::string, ItemInSession, std::less<>> items;
    const auto in_session = [&](std::string_view logged_name) -> ItemInSession& {
      const auto known = items.find(logged_name);
      if (known != items.end()) return known->second;
      HistoryItem& item = ItemCalled(logged_name, by_logged, history);
      return items.emplace(std::string(logged_name), ItemInSession(session, item)).first->second;
    };
    for (const LogRecord* record : session.records) {
      if (IsOfAnItem(*record)) in_session(record->name).Take(*record);
    }
    if (session.presence != nullptr) {
      for (const HistoryPresence::Running& running : session.presence->programs) {
        (void)in_session(LoggedForm(running.name));
      }
    }
    for (auto& [name, item] : items) item.Finish();
    history.launchers.push_back(session.launcher);
  }

  history.records = facts.log->records.size();
  history.until_ms = facts.now_ms;
  history.from_ms = facts.now_ms;
  for (const HistoryLauncher& launcher : history.launchers) {
    history.from_ms = std::min(history.from_ms, launcher.start_ms.value_or(launcher.first_record_ms));
  }
  history.log_is_whole = facts.log->ReachesBackTo(history.from_ms);
  return history;
}

void KeepSince(History& history, int64_t since_ms) {
  history.from_ms = std::max(history.from_ms, std::min(since_ms, history.until_ms));
  const auto is_over = [since_ms](const std::optional<int64_t>& end_ms) { return end_ms && *end_ms < since_ms; };
  for (HistoryItem& item : history.items) {
    item.runs.erase(
        std::remove_if(item.runs.begin(), item.runs.end(),
                       [&](const HistoryRun& run) { return is_over(run.end_ms ? run.end_ms : run.no_later_than); }),
        item.runs.end());
    item.failed_starts.erase(std::remove_if(item.failed_starts.begin(), item.failed_starts.end(),
                                            [&](const HistoryFailedStart& start) { return start.time_ms < since_ms; }),
                             item.failed_starts.end());
  }
  history.launchers.erase(std::remove_if(history.launchers.begin(), history.launchers.end(),
                                         [&](const HistoryLauncher& launcher) {
                                           return launcher.how != HistoryLauncher::How::kRunning &&
                                                  launcher.last_record_ms < since_ms;
                                         }),
                          history.launchers.end());
}

double ShareUp(const HistoryItem& item, int64_t from_ms, int64_t until_ms, bool& at_most) {
  at_most = false;
  int64_t up_ms = 0;
  for (const HistoryRun& run : item.runs) {
    if (!run.start_ms || (!run.end_ms && run.no_later_than)) at_most = true;
    const int64_t start_ms = std::max(run.start_ms.value_or(run.from_ms), from_ms);
    const int64_t end_ms = std::min(run.end_ms.value_or(run.no_later_than.value_or(until_ms)), until_ms);
    up_ms += std::max<int64_t>(0, end_ms - start_ms);
  }
  if (until_ms <= from_ms) return 0;
  return std::min(1.0, static_cast<double>(up_ms) / static_cast<double>(until_ms - from_ms));
}

static std::string ShortMeaningOf(int64_t raw) {
  const auto status = ReadWaitStatus(raw);
  if (!status) return MeaningOf(raw);
  if (!status->is_signal) return "exit " + std::to_string(status->number);
  const std::string name = SignalName(status->number);
  return name.empty() ? "signal " + std::to_string(status->number) : name;
}

std::string EndsInWords(const HistoryItem& item, bool is_short) {
  std::map<std::string, int64_t> counts;
  for (const HistoryRun& run : item.runs) {
    if (!run.end_ms) continue;
    if (run.is_end_of_stop) {
      ++counts["stopped"];
    } else {
      ++counts[!run.status ? "end not known" : is_short ? ShortMeaningOf(*run.status) : MeaningOf(*run.status)];
    }
  }
  for (const HistoryFailedStart& start : item.failed_starts) {
    ++counts[start.has_no_program ? "no program" : start.fork_failed ? "failed fork" : "failed start"];
  }
  std::vector<std::pair<std::string, int64_t>> sorted(counts.begin(), counts.end());
  std::stable_sort(sorted.begin(), sorted.end(), [](const auto& a, const auto& b) { return a.second > b.second; });
  std::string words;
  for (const auto& [meaning, count] : sorted) {
    words += (words.empty() ? "" : ", ") + std::to_string(count) + " x " + meaning;
  }
  return words;
}

bool IsBadEnd(const HistoryRun& run) { return run.status && *run.status != 0 && !run.is_end_of_stop; }
