#include "launcherctl/diagnosis.h"

#include <algorithm>

#include "launcherctl/clock_text.h"
#include "launcherctl/escape.h"
#include "launcherctl/printing_program.h"
#include "launcherctl/program_check.h"
#include "launcherctl/text_table.h"
#include "launcherctl/wait_status.h"

bool IsWell(const Diagnosis& diagnosis) { return diagnosis.code == "healthy" || diagnosis.code == "done"; }

std::string ShellQuoted(const std::string& text) {
  static constexpr char kPlain[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789@%+=:,./_-";
  if (!text.empty() && text.find_first_not_of(kPlain) == std::string::npos) return text;
  std::string quoted = "'";
  for (const char c : text) {
    if (c == '\'') {
      quoted += "'\\''";
    } else {
      quoted += c;
    }
  }
  return quoted + "'";
}

// A command to copy holds the bytes as they are, unless a terminal must not see them.
static std::string Word(const std::string& text) { return ShownText(ShellQuoted(text)); }

static std::string FileName(const std::string& path) { return path.substr(path.rfind('/') + 1); }

static std::string PlaceOf(const Finding& finding) {
  std::string file = ShownText(FileName(finding.file));
  if (finding.line <= 1 && finding.column <= 1) return file;
  return file + ":" + std::to_string(finding.line) + ":" + std::to_string(finding.column);
}

static void AddFinding(const Finding& finding, Diagnosis& diagnosis) {
  diagnosis.evidence.push_back({PlaceOf(finding), finding.message});
  if (!finding.consequence.empty()) diagnosis.evidence.push_back({"", finding.consequence});
  if (!finding.remedy.empty()) diagnosis.remedy.push_back(finding.remedy);
}

static void BeCausedBy(const Finding& finding, Diagnosis& diagnosis) {
  diagnosis.code = finding.code;
  AddFinding(finding, diagnosis);
}

// --- What a launcher's findings say of an item

static const Finding* FindFinding(const RunningLauncher& launcher, const ItemKnowledge& item,
                                  const std::vector<std::string>& codes) {
  for (const std::string& code : codes) {
    for (const Finding& finding : launcher.findings) {
      if (finding.code != code) continue;
      const bool is_items = item.number && finding.item == item.number;
      // A list that was changed may have moved it.
      const bool has_its_name = !item.number && finding.name && LoggedForm(*finding.name) == item.name;
      if (is_items || has_its_name) return &finding;
    }
  }
  return nullptr;
}

// Why a start fails.
static const std::vector<std::string>& StartCodes() {
  static const std::vector<std::string> codes = {"program-not-found", "program-not-executable", "interpreter-not-found",
                                                 "program-relative", "argc-out-of-range"};
  return codes;
}

// Why a child, or its program, ends otherwise than meant.
static const std::vector<std::string>& MistakeCodes() {
  static const std::vector<std::string> codes = {
      "args-not-object", "argc-not-number",   "arg-not-text",           "run-once-not-boolean",  "program-not-text",
      "args-ignored",    "args-missing",      "argc-out-of-range",      "member-unknown",        "member-twice",
      "name-not-text",   "program-not-found", "program-not-executable", "interpreter-not-found", "program-relative"};
  return codes;
}

// --- Evidence

static std::string RecordPlace(const LogRecord& record, const RunningLauncher& launcher) {
  return PlaceOf(record, *launcher.log);
}

static void AddEnds(const RunningLauncher& launcher, const ItemKnowledge& item, Diagnosis& diagnosis) {
  constexpr size_t kShown = 3;
  const size_t first = item.runs.size() > kShown ? item.runs.size() - kShown : 0;
  for (size_t i = first; i < item.runs.size(); ++i) {
    const EndedRun& run = item.runs[i];
    diagnosis.evidence.push_back({RecordPlace(*run.record, launcher), ShownText(run.record->message)});
  }
}

static void AddChain(const ItemKnowledge& item, Diagnosis& diagnosis) {
  std::string pids;
  constexpr size_t kShown = 10;
  for (size_t i = 0; i < item.chain.size() && i < kShown; ++i) pids += " " + std::to_string(item.chain[i]);
  if (item.chain.size() > kShown) pids += " ...";
  diagnosis.evidence.push_back(
      {"processes", std::to_string(item.chain.size()) +
                        (item.chain.size() == 1 ? " second supervisor" : " second supervisors") +
                        " where the program should be:" + pids});
}

static std::string RestartRemedy(const RunningLauncher& launcher) {
  return "launcherctl stop --pid " + std::to_string(launcher.process.pid) + ", and start the launcher again";
}

static std::string EndsInWords(const ItemKnowledge& item) {
  const EndedRun& last = item.runs.back();
  return last.ret < 0 ? "an end whose wait failed" : MeaningOf(last.status);
}

static bool EndedWell(const EndedRun& run) { return run.ret >= 0 && run.status == 0; }

// Each of the last ends was the same exit status, soon after its start.
static bool EndsAtOnceWithOneStatus(const ItemKnowledge& item) {
  constexpr size_t kLooked = 5;
  constexpr int64_t kAtOnceMs = 2000;
  if (item.runs.empty()) return false;
  const size_t first = item.runs.size() > kLooked ? item.runs.size() - kLooked : 0;
  for (size_t i = first; i < item.runs.size(); ++i) {
    const EndedRun& run = item.runs[i];
    const auto status = ReadWaitStatus(run.status);
    if (run.ret < 0 || !status || status->is_signal || status->number == 0 || status->number >= 126) return false;
    if (run.status != item.runs.back().status) return false;
    if (run.start_ms && run.end_ms - *run.start_ms > kAtOnceMs) return false;
  }
  return true;
}

static std::vector<std::string> CommandOf(const RunningLauncher& launcher, const ItemKnowledge& item) {
  for (const PlannedItem& plan : PlanOf(launcher.list)) {
    if (plan.number == item.number && item.number && plan.name && *plan.name == item.name) return plan.command;
  }
  return {};
}

static std::string CommandText(const std::vector<std::string>& command) {
  std::string text;
  for (const std::string& word : command) text += (text.empty() ? "" : " ") + Word(word);
  return text;
}

static void AddComparison(const std::vector<std::string>& command, Diagnosis& diagnosis) {
  if (command.empty()) return;
  const std::string text = CommandText(command);
  diagnosis.remedy.push_back("Compare, without and with standard streams:");
  diagnosis.remedy.push_back("sh -c '\"$@\" <&- >&- 2>&-; exit $?' sh " + text + "; echo $?");
  diagnosis.remedy.push_back(text + "; echo $?");
}

// --- One item

static void DiagnoseFailing(const RunningLauncher& launcher, const ItemKnowledge& item, const std::string& who,
                            int64_t now_ms, Diagnosis& diagnosis) {
  diagnosis.code = "start-fails";
  diagnosis.summary = who + " does not run: its program can't be started.";
  const Finding* const cause = FindFinding(launcher, item, StartCodes());
  if (cause != nullptr) {
    BeCausedBy(*cause, diagnosis);
  } else {
    diagnosis.evidence.push_back({ShownText(item.program), "nothing is wrong with it now, as this user sees it"});
    diagnosis.remedy.push_back("ls -l " + Word(item.program) + "; file " + Word(item.program));
  }
  AddChain(item, diagnosis);
  diagnosis.evidence.push_back({"launcher.log", "nothing: a failed start is not logged"});
  if (item.next_start_ms) {
    diagnosis.summary += " The next attempt is at " + ClockWithDistance(*item.next_start_ms, now_ms) + ".";
  }
  if (!item.run_once) {
    diagnosis.remedy.push_back(
        "Once that is mended, the next attempt starts the program. To be rid of the second supervisors "
        "as well: " +
        RestartRemedy(launcher));
  }
}

static void DiagnoseEnds(const RunningLauncher& launcher, const ItemKnowledge& item, const std::string& who,
                         int64_t now_ms, Diagnosis& diagnosis) {
  constexpr int64_t kLongPauseSeconds = 30;
  const bool pauses_long = item.state == ItemState::kPausing && item.pause_seconds.value_or(0) >= kLongPauseSeconds;
  const std::vector<std::string> command = CommandOf(launcher, item);
  const std::string ends = Plural(item.ends, "end") + (item.ends_exact ? "" : " in the log, perhaps more") +
                           ", the last one " + EndsInWords(item) + " at " +
                           ClockWithDistance(item.runs.back().end_ms, now_ms);
  std::string next;
  if (item.next_start_ms) next = " It is started again at " + ClockWithDistance(*item.next_start_ms, now_ms) + ".";
  if (const Finding* const cause = FindFinding(launcher, item, MistakeCodes());
      cause != nullptr && cause->severity != Severity::kNote) {
    diagnosis.summary = who + " does not run as meant: " + ends + "." + next;
    BeCausedBy(*cause, diagnosis);
    AddEnds(launcher, item, diagnosis);
    diagnosis.remedy.push_back("launcherctl check " + Word(launcher.list_path) + ", and " + RestartRemedy(launcher));
    return;
  }
  if (pauses_long) {
    diagnosis.code = "pausing-long";
    diagnosis.summary = who + " pauses for " + SpanText(*item.pause_seconds * 1000) + " after " + ends + "." + next;
    AddEnds(launcher, item, diagnosis);
    diagnosis.evidence.push_back({"",
                                  "the pause grows by a second with every run, and only a restart of the launcher "
                                  "sets it back"});
    diagnosis.remedy.push_back(RestartRemedy(launcher));
    AddComparison(command, diagnosis);
    return;
  }
  if (EndsAtOnceWithOneStatus(item) && PrintsToStandardOutput(command)) {
    diagnosis.code = "needs-streams";
    diagnosis.summary = who +
                        " ends at once after each start, as programs do that write to their standard output: the "
                        "launcher has closed it. " +
                        ends + "." + next;
    AddEnds(launcher, item, diagnosis);
    AddComparison(command, diagnosis);
    diagnosis.remedy.push_back("If only the first fails, give it streams: launch-list(5), EXAMPLES");
    return;
  }
  diagnosis.code = "crashes";
  diagnosis.summary = who + (item.is_crash_loop ? " ends soon after each start: " : " has ended: ") + ends + "." + next;
  AddEnds(launcher, item, diagnosis);
  AddComparison(command, diagnosis);
  diagnosis.remedy.push_back("launcherctl history " + Word(item.name));
}

static void DiagnoseGivenUp(const RunningLauncher& launcher, const std::string& who, Diagnosis& diagnosis) {
  diagnosis.code = "given-up";
  diagnosis.summary = who + " was given up for good: there could be no further process.";
  for (const LogRecord& record : launcher.log->records) {
    if (record.kind == RecordKind::kForkFailed && record.process == launcher.process.pid) {
      diagnosis.evidence.push_back({RecordPlace(record, launcher), ShownText(record.message)});
    }
  }
  diagnosis.evidence.push_back({"",
                                "do NOT send SIGTERM to this launcher: it would send SIGKILL to every process that "
                                "this user may signal"});
  diagnosis.remedy.push_back("launcherctl stop --kill --pid " + std::to_string(launcher.process.pid) +
                             ", which ends the launcher and its programs one by one");
  diagnosis.remedy.push_back("ps -U \"$(id -u)\" | wc -l; ulimit -u, to see what uses up the processes");
}

static void DiagnoseUnread(const RunningLauncher& launcher, const ItemKnowledge& item, const std::string& who,
                           Diagnosis& diagnosis) {
  diagnosis.summary = who + " was never read by the launcher.";
  const Finding* cause = FindFinding(launcher, item, {"item-never-read", "item-nameless", "item-not-object"});
  if (cause != nullptr) {
    BeCausedBy(*cause, diagnosis);
  } else {
    diagnosis.code = item.state == ItemState::kSkipped ? "item-nameless" : "item-never-read";
  }
  diagnosis.remedy.push_back("launcherctl check " + Word(launcher.list_path) + ", and " + RestartRemedy(launcher));
}

Diagnosis DiagnoseItem(const RunningLauncher& launcher, const ItemKnowledge& item, int64_t now_ms) {
  Diagnosis diagnosis;
  if (item.has_name) diagnosis.item = item.name;
  const std::string who = item.has_name ? ShownText(item.name)
                          : item.number ? "item \"" + std::to_string(*item.number) + "\""
                                        : "an item";
  switch (item.state) {
    case ItemState::kFailing:
      DiagnoseFailing(launcher, item, who, now_ms, diagnosis);
      break;
    case ItemState::kGivenUp:
      DiagnoseGivenUp(launcher, who, diagnosis);
      break;
    case ItemState::kSkipped:
    case ItemState::kNeverRead:
      DiagnoseUnread(launcher, item, who, diagnosis);
      break;
    case ItemState::kNoProgram:
      diagnosis.code = "program-missing";
      diagnosis.summary = who + " has no program, so nothing is started.";
      if (const Finding* const cause = FindFinding(launcher, item, {"program-missing"})) BeCausedBy(*cause, diagnosis);
      for (const LogRecord& record : launcher.log->records) {
        if (record.kind != RecordKind::kNoProgram || record.name != LoggedForm(item.name)) continue;
        if (diagnosis.evidence.size() < 4)
          diagnosis.evidence.push_back({RecordPlace(record, launcher), ShownText(record.message)});
      }
      break;
    case ItemState::kReplaced: {
      diagnosis.code = "replaced";
      diagnosis.summary = "Two items are called " + who + "; the later one runs, and this one was stopped for it.";
      for (const Finding& finding : launcher.findings) {
        if (finding.code == "name-twice" && finding.name == item.name) AddFinding(finding, diagnosis);
      }
      AddEnds(launcher, item, diagnosis);
      break;
    }
    case ItemState::kDone: {
      const Finding* const cause = FindFinding(launcher, item, StartCodes());
      if (cause != nullptr && !item.runs.empty() && EndedWell(item.runs.back())) {
        diagnosis.summary =
            who + " is done, but its program never ran: what ended with status 0 was the attempt to start it.";
        BeCausedBy(*cause, diagnosis);
        AddEnds(launcher, item, diagnosis);
      } else if (!item.runs.empty() && !EndedWell(item.runs.back()) && item.reason.empty()) {
        DiagnoseEnds(launcher, item, who, now_ms, diagnosis);
        diagnosis.summary += " It is to run once.";
      } else {
        diagnosis.code = "done";
        diagnosis.summary = who + " has run once, as it is to";
        if (!item.runs.empty())
          diagnosis.summary +=
              ", and ended with " + EndsInWords(item) + " at " + ClockWithDistance(item.runs.back().end_ms, now_ms);
        diagnosis.summary += ".";
        AddEnds(launcher, item, diagnosis);
        if (!item.reason.empty()) diagnosis.evidence.push_back({"", ShownText(item.reason)});
      }
      break;
    }
    case ItemState::kRunning:
    case ItemState::kPausing: {
      const bool has_ended_badly = !item.runs.empty() && item.state == ItemState::kPausing &&
                                   (!EndedWell(item.runs.back()) || item.pause_seconds.value_or(0) >= 30);
      if (item.is_crash_loop || has_ended_badly) {
        DiagnoseEnds(launcher, item, who, now_ms, diagnosis);
        break;
      }
      const Finding* const cause = FindFinding(launcher, item, MistakeCodes());
      const std::string since = item.since_ms ? " since " + ClockWithDistance(*item.since_ms, now_ms) : "";
      if (cause != nullptr && cause->severity != Severity::kNote) {
        diagnosis.summary = who + (item.state == ItemState::kRunning ? " runs" : " pauses") + since +
                            ", but not as its list reads now.";
        BeCausedBy(*cause, diagnosis);
        diagnosis.remedy.push_back("launcherctl check " + Word(launcher.list_path) + ", and " +
                                   RestartRemedy(launcher));
        break;
      }
      if (!item.number && item.number != 0) {
        diagnosis.code = "list-changed";
        diagnosis.summary = who + (item.state == ItemState::kRunning ? " runs" : " pauses") + since +
                            ", but it is not in the list any more.";
        diagnosis.evidence.push_back(
            {ShownText(FileName(launcher.list_path)), "was changed after the launcher's start"});
        diagnosis.remedy.push_back(RestartRemedy(launcher));
        break;
      }
      diagnosis.code = "healthy";
      diagnosis.summary = who + (item.state == ItemState::kRunning ? " runs" : " pauses") + since + ".";
      if (item.pid)
        diagnosis.evidence.push_back({"process " + std::to_string(*item.pid), CommandText(CommandOf(launcher, item))});
      if (!item.chain.empty()) AddChain(item, diagnosis);
      AddEnds(launcher, item, diagnosis);
      break;
    }
    case ItemState::kUnknown: {
      const bool log_is_there = launcher.log->IsThere();
      diagnosis.code = "unknown";
      for (const Finding& finding : launcher.findings) {
        const bool is_cause = finding.code == "list-changed" || (finding.code == "log-missing" && !log_is_there);
        if (!is_cause || diagnosis.code != "unknown") continue;
        AddFinding(finding, diagnosis);
        diagnosis.code = finding.code == "list-changed" ? "list-changed" : "log-unavailable";
      }
      diagnosis.summary = "What " + who + " does can't be told: " + ShownText(item.reason) + ".";
      if (const Finding* const cause = FindFinding(launcher, item, StartCodes())) AddFinding(*cause, diagnosis);
      diagnosis.remedy.push_back(RestartRemedy(launcher));
      break;
    }
  }
  return diagnosis;
}

// --- The launcher

// What needs a person most comes first.
static int Weight(const ItemKnowledge& item) {
  switch (item.state) {
    case ItemState::kGivenUp:
      return 0;
    case ItemState::kFailing:
      return 1;
    case ItemState::kNoProgram:
      return 2;
    case ItemState::kNeverRead:
    case ItemState::kSkipped:
      return 3;
    case ItemState::kUnknown:
      return 5;
    default:
      return 4;
  }
}

static const Finding* OwnFindingOf(const RunningLauncher& launcher, const std::string& code) {
  for (const Finding& finding : launcher.findings) {
    if (finding.code == code && !finding.item) return &finding;
  }
  return nullptr;
}

Diagnosis DiagnoseLauncher(const RunningLauncher& launcher, int64_t now_ms) {
  Diagnosis diagnosis;
  const std::string who = "launcher " + std::to_string(launcher.process.pid);
  if (launcher.known.phase == Phase::kReading) {
    diagnosis.code = "not-a-file";
    diagnosis.summary = who + " reads something that is not a file, for ever, and SIGTERM does not end it.";
    if (const Finding* const cause = OwnFindingOf(launcher, "not-a-file")) AddFinding(*cause, diagnosis);
    diagnosis.remedy.push_back("launcherctl stop --kill --pid " + std::to_string(launcher.process.pid));
    return diagnosis;
  }
  const ItemKnowledge* worst = nullptr;
  for (const ItemKnowledge& item : launcher.known.items) {
    if (item.trouble && (worst == nullptr || Weight(item) < Weight(*worst))) worst = &item;
  }
  // Without its log the launcher tells nothing of its items.
  const Finding* const log_missing = OwnFindingOf(launcher, "log-missing");
  const bool is_without_log = log_missing != nullptr && !launcher.log->IsThere();
  if (is_without_log && (worst == nullptr || Weight(*worst) >= 4)) {
    diagnosis.code = "log-unavailable";
    diagnosis.summary = who + " runs, but its log can't be read.";
    AddFinding(*log_missing, diagnosis);
    diagnosis.remedy.push_back("ls -ld " + Word(launcher.log_folder) + " " +
                               Word(launcher.log_folder + "/launcher.log"));
    return diagnosis;
  }
  if (worst != nullptr) {
    diagnosis = DiagnoseItem(launcher, *worst, now_ms);
    std::string others;
    for (const ItemKnowledge& item : launcher.known.items) {
      if (&item == worst || !item.trouble || others.size() > 60) continue;
      others += (others.empty() ? "" : ", ") + (item.has_name ? ShownText(item.name) : "an item without a name");
    }
    if (!others.empty()) diagnosis.evidence.push_back({"also in trouble", others});
    return diagnosis;
  }
  for (const char* code : {"list-changed", "log-level", "log-missing"}) {
    const Finding* const finding = OwnFindingOf(launcher, code);
    if (finding == nullptr || finding->severity == Severity::kNote) continue;
    diagnosis.code = std::string(code) == "list-changed" ? "list-changed" : "log-unavailable";
    diagnosis.summary = who + " runs, and no item is in trouble, but one thing needs a look.";
    AddFinding(*finding, diagnosis);
    return diagnosis;
  }
  for (const Finding& finding : launcher.findings) {
    if (finding.severity == Severity::kNote || finding.code == "stop-unsafe") continue;
    diagnosis.summary = who + " runs, and no item is in trouble, but one thing needs a look.";
    BeCausedBy(finding, diagnosis);
    if (finding.item && finding.name) diagnosis.item = *finding.name;
    return diagnosis;
  }
  diagnosis.code = "healthy";
  diagnosis.summary = who + " runs since " + ClockWithDistance(launcher.process.started_ms, now_ms) + ", and " +
                      (launcher.known.items.empty() ? "has no items." : "no item is in trouble.");
  if (const Finding* const unsafe = OwnFindingOf(launcher, "stop-unsafe")) AddFinding(*unsafe, diagnosis);
  return diagnosis;
}

// --- No launcher

// The last launcher that the log knows, told from second supervisors by being the first of them.
struct LastRun {
  const LogRecord* first = nullptr;
  const LogRecord* last = nullptr;
  bool ends_with_kills = false;
};

static LastRun LastRunIn(const Log& log) {
  LastRun run;
  if (log.records.empty()) return run;
  // Every record of a chain tells of a process that another record's process has forked; the launcher's id is the one
  // that the most records of the end carry.
  run.last = &log.records.back();
  const int32_t launcher = run.last->process;
  for (const LogRecord& record : log.records) {
    if (record.process == launcher && run.first == nullptr) run.first = &record;
  }
  // A stop ends one item after the other with SIGKILL; the last line is the last one's.
  run.ends_with_kills = run.last->kind == RecordKind::kEnd && run.last->status == 9;
  return run;
}

static bool EndsTheLauncher(const Finding& finding) {
  static const char* const kCodes[] = {"unreadable",    "not-a-file",       "empty-file",          "byte-order-mark",
                                       "not-json",      "nested-too-deep",  "list-not-object",     "item-not-object",
                                       "name-not-text", "program-not-text", "run-once-not-boolean"};
  return finding.severity == Severity::kError &&
         std::any_of(std::begin(kCodes), std::end(kCodes), [&](const char* code) { return finding.code == code; });
}

Diagnosis DiagnoseNoLauncher(const NoLauncher& known) {
  Diagnosis diagnosis;
  const LastRun last = known.log != nullptr ? LastRunIn(*known.log) : LastRun();
  const bool log_says_parse_error = last.last != nullptr && last.last->kind == RecordKind::kParseError;
  const Finding* list_error = nullptr;
  for (const Finding& finding : known.findings) {
    if (list_error == nullptr && EndsTheLauncher(finding)) list_error = &finding;
  }
  const auto place = [&](const LogRecord& record) { return PlaceOf(record, *known.log); };
  if (!known.library_is_there) {
    diagnosis.code = "not-running-never-started";
    diagnosis.summary = "No launcher runs, and none can start: the logging library is missing.";
    diagnosis.evidence.push_back({ShownText(known.library), "does not exist"});
    diagnosis.remedy.push_back("Install the application anew; the library belongs into Contents/Frameworks.");
  } else if (list_error != nullptr || log_says_parse_error) {
    diagnosis.code = "not-running-list";
    diagnosis.summary = "No launcher runs: the last one ended because of its list.";
    if (list_error != nullptr) AddFinding(*list_error, diagnosis);
    if (log_says_parse_error) diagnosis.evidence.push_back({place(*last.last), ShownText(last.last->message)});
    if (list_error == nullptr) {
      diagnosis.evidence.push_back(
          {"",
           known.list_path.empty()
               ? "the log does not tell which list it was"
               : "nothing is wrong with the list now: it was mended, or the system was short of threads or memory"});
    }
    diagnosis.remedy.push_back("launcherctl check " + (known.list_path.empty() ? "LIST" : Word(known.list_path)));
  } else if (last.last == nullptr) {
    diagnosis.code = "not-running-never-started";
    diagnosis.summary = "No launcher runs, and its log has no line of one: it was never started, or ended at once.";
    diagnosis.evidence.push_back({ShownText(known.log_path), "no records"});
    if (known.list_path.empty()) {
      diagnosis.evidence.push_back(
          {"", "a list that is missing or empty, and too few arguments, leave no trace either"});
    }
  } else if (last.ends_with_kills && known.leftovers.empty()) {
    diagnosis.code = "not-running-stopped";
    diagnosis.summary = "No launcher runs: the last one was stopped at about " +
                        ClockWithDistance(last.last->time_ms, known.now_ms) + ".";
    diagnosis.evidence.push_back({place(*last.last), ShownText(last.last->message)});
  } else {
    // What a stop leaves are chains, and what these run. Programs without a chain have lost their launcher otherwise.
    const bool has_programs =
        std::any_of(known.leftovers.begin(), known.leftovers.end(), [&](const Leftover& leftover) {
          return leftover.is_program &&
                 std::none_of(known.leftovers.begin(), known.leftovers.end(),
                              [&](const Leftover& other) { return other.pid == leftover.parent; });
        });
    const bool was_stopped = !has_programs && (last.ends_with_kills || !known.leftovers.empty());
    diagnosis.code = was_stopped ? "not-running-stopped" : "not-running-crashed";
    diagnosis.summary =
        was_stopped
            ? "No launcher runs: the last one was stopped at about " +
                  ClockWithDistance(last.last->time_ms, known.now_ms) + ", and has left processes behind."
            : "No launcher runs: the last one ended without a stop, some time after " +
                  ClockWithDistance(last.last->time_ms, known.now_ms) + "; it was killed, or the machine went down.";
    diagnosis.evidence.push_back({place(*last.last), ShownText(last.last->message)});
  }
  std::string pids;
  for (const Leftover& leftover : known.leftovers) {
    pids += " " + std::to_string(leftover.pid);
    if (diagnosis.evidence.size() > 8) continue;
    diagnosis.evidence.push_back(
        {"process " + std::to_string(leftover.pid), std::string("is left behind: ") +
                                                        (leftover.is_program ? "a program" : "a second supervisor") +
                                                        (leftover.item ? " of " + ShownText(*leftover.item) : "") +
                                                        ", since " + ClockText(leftover.since_ms, known.now_ms)});
  }
  if (!pids.empty()) diagnosis.remedy.push_back("kill -KILL" + pids);
  if (known.list_path.empty()) {
    diagnosis.remedy.push_back("launcherctl why --list LIST, to have the list looked at as well");
  } else if (known.list_is_guessed) {
    diagnosis.evidence.push_back({"list", ShownText(known.list_path)});
  }
  return diagnosis;
}
