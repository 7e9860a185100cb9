#include "launcherctl/status_verb.h"

#include <poll.h>

#include <algorithm>
#include <csignal>

#include "launcherctl/clock_text.h"
#include "launcherctl/escape.h"
#include "launcherctl/exit_status.h"
#include "launcherctl/findings_output.h"
#include "launcherctl/json_parts.h"
#include "launcherctl/text_table.h"
#include "launcherctl/wait_status.h"

// --- JSON

static JsonObject TimeOrNull(const std::optional<int64_t>& time_ms) {
  return time_ms ? Text(Rfc3339(*time_ms)) : JsonObject("null");
}

static void InsertNumber(JsonObject& object, const char* key, const std::optional<int64_t>& number) {
  object.Insert(key, number ? Number(*number) : JsonObject("null"));
}

static JsonObject LastEndToJson(const EndedRun& run) {
  JsonObject end = JsonObject::GetEmptyObject();
  end["time"] = Rfc3339(run.end_ms);
  end.Insert("pid", Number(run.pid));
  // After a wait that failed the status means nothing.
  InsertNumber(end, "status", run.ret < 0 ? std::nullopt : std::optional<int64_t>(run.status));
  end["meaning"] = run.ret < 0 ? std::string("the wait failed") : MeaningOf(run.status);
  return end;
}

static JsonObject ItemToJson(const ItemKnowledge& item) {
  JsonObject json = JsonObject::GetEmptyObject();
  InsertNumber(json, "number", item.number);
  json.Insert("name", item.has_name ? Text(JsonText(item.name)) : JsonObject("null"));
  json["program"] = JsonText(item.program);
  json["state"] = std::string(StateName(item.state));
  json.Insert("trouble", Truth(item.trouble));
  InsertNumber(json, "pid", item.pid);
  json.Insert("since", TimeOrNull(item.since_ms));
  json.Insert("ends", Number(item.ends));
  json.Insert("ends_exact", Truth(item.ends_exact));
  json.Insert("last_end", item.runs.empty() ? JsonObject("null") : LastEndToJson(item.runs.back()));
  InsertNumber(json, "pause_seconds", item.pause_seconds);
  json.Insert("next_start", TimeOrNull(item.next_start_ms));
  JsonObject chain = EmptyArray();
  for (const int32_t pid : item.chain) {
    JsonObject number = Number(pid);
    chain.InsertArrayItem(number);
  }
  json.Insert("chain", chain);
  json.Insert("reason", item.reason.empty() ? JsonObject("null") : Text(JsonText(item.reason)));
  return json;
}

JsonObject LauncherToJson(const RunningLauncher& launcher, int64_t now_ms) {
  JsonObject json = JsonObject::GetEmptyObject();
  json.Insert("pid", Number(launcher.process.pid));
  json["name"] = JsonText(launcher.name);
  json["list"] = JsonText(launcher.list_path);
  json["bundle"] = JsonText(launcher.bundle);
  json["log"] = JsonText(launcher.log_folder + "/launcher.log");
  json["level"] = launcher.level;
  json["started"] = Rfc3339(launcher.process.started_ms);
  json["phase"] = std::string(PhaseName(launcher.known.phase));
  JsonObject items = EmptyArray();
  for (const ItemKnowledge& known : launcher.known.items) {
    JsonObject item = ItemToJson(known);
    items.InsertArrayItem(item);
  }
  json.Insert("items", items);
  json.Insert("findings", ToJson(launcher.findings));
  const StopOutlook outlook = StopOutlookOf(launcher, now_ms);
  JsonObject stop = JsonObject::GetEmptyObject();
  stop.Insert("safe", Truth(outlook.is_safe));
  stop.Insert("reason", outlook.reason.empty() ? JsonObject("null") : Text(JsonText(outlook.reason)));
  InsertNumber(stop, "seconds_at_least", outlook.seconds_at_least);
  InsertNumber(stop, "seconds_at_most", outlook.seconds_at_most);
  json.Insert("stop", stop);
  return json;
}

JsonObject LeftoversToJson(const std::vector<Leftover>& leftovers) {
  JsonObject array = EmptyArray();
  for (const Leftover& leftover : leftovers) {
    JsonObject json = JsonObject::GetEmptyObject();
    json.Insert("pid", Number(leftover.pid));
    json.Insert("parent", Number(leftover.parent));
    json["kind"] = std::string(leftover.is_program ? "program" : "second-supervisor");
    json.Insert("item", leftover.item ? Text(JsonText(*leftover.item)) : JsonObject("null"));
    InsertNumber(json, "launcher", leftover.launcher);
    json["since"] = Rfc3339(leftover.since_ms);
    array.InsertArrayItem(json);
  }
  return array;
}

// --- Text

static Output::Color ColorOf(const ItemKnowledge& item) {
  if (item.trouble) return Output::Color::kRed;
  if (item.state == ItemState::kRunning) return Output::Color::kGreen;
  return item.state == ItemState::kPausing ? Output::Color::kYellow : Output::Color::kDim;
}

static std::string StateText(const ItemKnowledge& item) {
  std::string text = StateName(item.state);
  if (item.is_crash_loop) text += ", crash loop";
  if (item.state == ItemState::kRunning && !item.chain.empty()) text += ", by a chain";
  return text;
}

static std::string WhenText(const ItemKnowledge& item, int64_t now_ms) {
  if (item.next_start_ms &&
      (item.state == ItemState::kPausing || item.state == ItemState::kFailing || item.state == ItemState::kNoProgram)) {
    return (item.state == ItemState::kPausing ? "until " : "next ") + ClockWithDistance(*item.next_start_ms, now_ms);
  }
  if (item.since_ms) return "since " + ClockText(*item.since_ms, now_ms) + ", for " + SpanText(now_ms - *item.since_ms);
  return "-";
}

static std::string LastEndText(const ItemKnowledge& item, int64_t now_ms) {
  if (!item.reason.empty()) return ShownText(item.reason);
  if (item.state == ItemState::kFailing) return Plural(static_cast<int64_t>(item.chain.size()), "failed start");
  if (item.runs.empty()) return "-";
  const EndedRun& run = item.runs.back();
  std::string text = run.ret < 0 ? "the wait failed" : MeaningOf(run.status);
  if (run.start_ms) text += " after " + SpanText(run.end_ms - *run.start_ms);
  return text + ", " + ClockText(run.end_ms, now_ms);
}

// The items that fit: those in trouble first, but shown in list order.
static std::vector<const ItemKnowledge*> ItemsToShow(const std::vector<ItemKnowledge>& items, size_t room) {
  std::vector<const ItemKnowledge*> shown;
  for (const bool in_trouble : {true, false}) {
    for (const ItemKnowledge& item : items) {
      if (item.trouble == in_trouble && shown.size() < room) shown.push_back(&item);
    }
  }
  std::sort(shown.begin(), shown.end());
  return shown;
}

static void WriteItems(const RunningLauncher& launcher, int64_t now_ms, size_t room, Output& out) {
  const std::vector<const ItemKnowledge*> shown = ItemsToShow(launcher.known.items, room);
  struct Row {
    std::string number, name, state, when, pid, ends, last_end;
  };
  std::vector<Row> rows = {{"#", "name", "state", "when", "pid", "ends", "last end"}};
  for (const ItemKnowledge* item : shown) {
    Row row;
    row.number = item->number ? std::to_string(*item->number) : "-";
    row.name = item->has_name ? ShownText(item->name) : "(no name)";
    row.state = StateText(*item);
    row.when = WhenText(*item, now_ms);
    row.pid = item->pid ? std::to_string(*item->pid) : "-";
    row.ends = (item->ends_exact ? "" : ">=") + std::to_string(item->ends);
    row.last_end = LastEndText(*item, now_ms);
    rows.push_back(std::move(row));
  }
  size_t number = 0, name = 0, state = 0, when = 0, pid = 0, ends = 0;
  for (const Row& row : rows) {
    number = std::max(number, row.number.size());
    name = std::max(name, CountCharacters(row.name));
    state = std::max(state, row.state.size());
    when = std::max(when, row.when.size());
    pid = std::max(pid, row.pid.size());
    ends = std::max(ends, row.ends.size());
  }
  const auto width = static_cast<size_t>(out.width);
  const size_t beside_name = 2 + number + 2 + 2 + state + 2 + when + 2 + pid + 2 + ends + 2;
  constexpr size_t kLeastName = 12;
  name = std::min(name, std::max(kLeastName, width > beside_name + 20 ? width - beside_name - 20 : 0));
  for (size_t i = 0; i < rows.size(); ++i) {
    const Row& row = rows[i];
    const Output::Color color = i == 0 ? Output::Color::kDim : ColorOf(*shown[i - 1]);
    const std::string before = "  " + std::string(number - row.number.size(), ' ') + row.number + "  " +
                               Padded(CutInMiddle(row.name, name), name) + "  ";
    std::string behind = "  " + Padded(row.when, when);
    behind += "  " + std::string(pid - row.pid.size(), ' ') + row.pid;
    behind += "  " + std::string(ends - row.ends.size(), ' ') + row.ends + "  ";
    const size_t used = CountCharacters(before) + state + CountCharacters(behind);
    const size_t left = width > used ? width - used : 0;
    std::string end = CutAtEnd(row.last_end, std::max<size_t>(left, 8));
    out.Write(before);
    out.Write(out.Colored(color, Padded(row.state, state)));
    out.Write(behind);
    out.Write(end);
    out.Write("\n");
  }
  const size_t hidden = launcher.known.items.size() - shown.size();
  if (hidden > 0) {
    const auto hidden_trouble =
        std::count_if(launcher.known.items.begin(), launcher.known.items.end(), [&](const ItemKnowledge& item) {
          return item.trouble && std::find(shown.begin(), shown.end(), &item) == shown.end();
        });
    out.Write("  ... and " + std::to_string(hidden) + " more" +
              (hidden_trouble > 0 ? ", " + std::to_string(hidden_trouble) + " of them in trouble"
                                  : ", none of them in trouble") +
              "; --all shows them\n");
  }
}

static std::string PhaseText(const RunningLauncher& launcher) {
  switch (launcher.known.phase) {
    case Phase::kReading:
      return "reads something that is not a file, for ever: SIGKILL ends it";
    case Phase::kStarting:
      return "starting";
    case Phase::kStopping:
      return "stopping, one item after the other";
    case Phase::kEnding:
      return "ending after a failure";
    case Phase::kSupervising:
      break;
  }
  return "";
}

// What concerns the launcher as it runs now; the others stand in its list and settings.
static bool IsOfTheRun(const Finding& finding) {
  static const char* const kCodes[] = {"list-changed", "stop-unsafe", "log-missing", "log-level"};
  return std::any_of(std::begin(kCodes), std::end(kCodes), [&](const char* code) { return finding.code == code; });
}

static void WriteLauncher(const RunningLauncher& launcher, int64_t now_ms, bool all, Output& out) {
  const int64_t started = launcher.process.started_ms;
  const std::string heading = "launcher " + std::to_string(launcher.process.pid) + " " + Quoted(launcher.name);
  out.Write(out.Colored(Output::Color::kBold, heading) + "  up " + SpanText(now_ms - started) + ", since " +
            ClockText(started, now_ms) + "  level " + launcher.level + "\n");
  const std::string phase = PhaseText(launcher);
  if (!phase.empty()) out.Write("  " + out.Colored(Output::Color::kYellow, phase) + "\n");
  out.Write("  list  " + ShownText(launcher.list_path) + "\n");
  out.Write("  log   " + ShownText(launcher.log_folder) + "/launcher.log\n\n");
  constexpr int kBesideItems = 14;
  const size_t room = all ? launcher.known.items.size() : static_cast<size_t>(std::max(out.height - kBesideItems, 10));
  if (launcher.known.items.empty()) {
    out.Write("  no items\n");
  } else {
    WriteItems(launcher, now_ms, room, out);
  }

  std::vector<std::string> in_trouble;
  size_t troubled = 0;
  constexpr size_t kNamed = 6;
  for (const ItemKnowledge& item : launcher.known.items) {
    if (!item.trouble) continue;
    ++troubled;
    if (item.has_name && in_trouble.size() < kNamed) in_trouble.push_back(item.name);
  }
  out.Write("\n");
  if (troubled == 0) {
    out.Write(out.Colored(Output::Color::kGreen, "No item is in trouble.") + "\n");
  } else {
    out.Write(out.Colored(Output::Color::kRed, std::to_string(troubled) + " of " +
                                                   Plural(static_cast<int64_t>(launcher.known.items.size()), "item") +
                                                   (troubled == 1 ? " is" : " are") + " in trouble") +
              ": launcherctl why" + (in_trouble.empty() ? std::string() : " " + ShownText(in_trouble.front())) +
              " tells more.\n");
  }
  int64_t others = 0;
  for (const Finding& finding : launcher.findings) {
    if (!IsOfTheRun(finding)) {
      if (finding.severity != Severity::kNote) ++others;
      continue;
    }
    const std::string severity = SeverityName(finding.severity);
    out.Write(out.Colored(Output::Color::kYellow, severity) + ": " + finding.message + " [" + finding.code + "]\n");
  }
  if (others > 0) {
    out.Write(Plural(others, "finding") + " in the list and the settings: launcherctl check " +
              ShownText(launcher.list_path) + "\n");
  }
}

std::string LeftoverText(const Leftover& leftover, int64_t now_ms) {
  std::string text = std::to_string(leftover.pid) + ", " + (leftover.is_program ? "a program" : "a second supervisor");
  if (leftover.item) text += " of " + ShownText(*leftover.item);
  if (leftover.launcher) text += ", of launcher " + std::to_string(*leftover.launcher);
  return text + ", since " + ClockText(leftover.since_ms, now_ms);
}

static void WriteLeftovers(const Observation& observation, bool all, Output& out) {
  if (observation.leftovers.empty()) return;
  out.Write("\n" + std::to_string(observation.leftovers.size()) +
            (observation.leftovers.size() == 1 ? " process is" : " processes are") +
            " left of a launcher that is gone:\n");
  constexpr size_t kShown = 8;
  std::string numbers;
  size_t count = 0;
  for (const Leftover& leftover : observation.leftovers) {
    numbers += " " + std::to_string(leftover.pid);
    if (all || count++ < kShown) out.Write("  " + LeftoverText(leftover, observation.now_ms) + "\n");
  }
  if (!all && count > kShown) out.Write("  ... and " + std::to_string(count - kShown) + " more\n");
  out.Write("To end them: kill -KILL" + numbers + "\n");
}

// --- One look

static int ExitStatusOf(const Observation& observation) {
  if (observation.launchers.empty()) return kNoLauncherRuns;
  for (const RunningLauncher& launcher : observation.launchers) {
    for (const ItemKnowledge& item : launcher.known.items) {
      if (item.trouble) return kAnswerIsBad;
    }
  }
  return kAllIsWell;
}

static int WriteOneLook(const StatusOptions& options, Output& out) {
  const Observation observation = Observe(options.which);
  if (out.json) {
    JsonObject answer = JsonObject::GetEmptyObject();
    JsonObject launchers = EmptyArray();
    for (const RunningLauncher& launcher : observation.launchers) {
      JsonObject json = LauncherToJson(launcher, observation.now_ms);
      launchers.InsertArrayItem(json);
    }
    answer.Insert("launchers", launchers);
    answer.Insert("leftovers", LeftoversToJson(observation.leftovers));
    out.WriteJson(answer);
    return ExitStatusOf(observation);
  }
  if (observation.launchers.empty()) {
    out.Write(observation.others > 0
                  ? "No such launcher; " + Plural(static_cast<int64_t>(observation.others), "other") +
                        " of this user " + (observation.others == 1 ? "runs" : "run") + ": launcherctl status\n"
                  : "No launcher of this user runs. launcherctl why tells how the last one ended.\n");
  }
  for (size_t i = 0; i < observation.launchers.size(); ++i) {
    if (i > 0) out.Write("\n");
    WriteLauncher(observation.launchers[i], observation.now_ms, options.all, out);
    for (size_t j = 0; j < i; ++j) {
      if (observation.launchers[j].list_path == observation.launchers[i].list_path) {
        out.Write("warning: launcher " + std::to_string(observation.launchers[j].process.pid) +
                  " runs the same list: every program runs twice\n");
      }
    }
  }
  WriteLeftovers(observation, options.all, out);
  return ExitStatusOf(observation);
}

// --- The watch

static volatile sig_atomic_t g_is_ended = 0;
static void NoteTheEnd(int) { g_is_ended = 1; }

static void EndOnSignals() {
  struct sigaction action = {};
  action.sa_handler = &NoteTheEnd;  // Without SA_RESTART: the pause is to end at once.
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) (void)sigaction(number, &action, nullptr);
}

// Each line is written over the one before, so that nothing flickers.
static std::string OverTheLastPicture(const std::string& picture, int height) {
  std::string text = "\x1b[H";
  int lines = 0;
  for (size_t start = 0; start < picture.size() && lines < height - 1; ++lines) {
    const size_t end = std::min(picture.find('\n', start), picture.size());
    text += picture.substr(start, end - start) + "\x1b[K\n";
    start = end + 1;
  }
  return text + "\x1b[J";
}

static int Watch(const StatusOptions& options, Output& out) {
  EndOnSignals();
  const bool redraws = out.is_terminal && !out.json;
  if (redraws) out.Write("\x1b[?1049h\x1b[?25l");  // The other screen, without a cursor.
  int exit_status = kAllIsWell;
  int flush_status = kAllIsWell;
  while (g_is_ended == 0) {
    if (redraws) {
      out.MeasureAgain();
      Output picture = out;
      picture.Discard();
      exit_status = WriteOneLook(options, picture);
      picture.Write("\n" + ClockText(NowMs(), NowMs()) + "; Ctrl-C ends this\n");
      out.Write(OverTheLastPicture(picture.Discard(), out.height));
    } else {
      exit_status = WriteOneLook(options, out);
      if (!out.json) out.Write("\n");
    }
    if (!out.Flush(flush_status)) break;
    (void)poll(nullptr, 0, static_cast<int>(*options.watch_seconds * 1000));
  }
  if (redraws) out.Write("\x1b[?25h\x1b[?1049l");
  (void)out.Flush(flush_status);
  return flush_status != kAllIsWell ? flush_status : exit_status;
}

int RunStatus(const StatusOptions& options, Output& out) {
  return options.watch_seconds ? Watch(options, out) : WriteOneLook(options, out);
}
