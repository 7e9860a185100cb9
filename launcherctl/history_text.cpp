#include "launcherctl/history_text.h"

#include <algorithm>
#include <cstdio>
#include <vector>

#include "launcherctl/clock_text.h"
#include "launcherctl/escape.h"
#include "launcherctl/json_parts.h"
#include "launcherctl/text_table.h"
#include "launcherctl/wait_status.h"

static constexpr size_t kWidestName = 24;

static size_t NameColumns(const History& history) {
  size_t columns = 4;
  for (const HistoryItem& item : history.items) {
    columns = std::max(columns, std::min(CountCharacters(ShownText(item.name)), kWidestName));
  }
  return columns;
}

static std::string NameColumn(const HistoryItem& item, size_t columns) {
  return Padded(CutInMiddle(ShownText(item.name), columns), columns);
}

static std::string RightAligned(const std::string& text, size_t columns) {
  const size_t characters = CountCharacters(text);
  return (characters < columns ? std::string(columns - characters, ' ') : "") + text;
}

static std::string UpText(const HistoryItem& item, const History& history) {
  bool at_most = false;
  char text[32];
  const double share = ShareUp(item, history.from_ms, history.until_ms, at_most);
  (void)snprintf(text, sizeof(text), "%s%.0f %%", at_most ? "<= " : "", share * 100);
  return text;
}

static const HistoryRun* LastEnd(const HistoryItem& item) {
  const HistoryRun* last = nullptr;
  for (const HistoryRun& run : item.runs) {
    if (run.end_ms) last = &run;
  }
  return last;
}

static size_t EndsOf(const HistoryItem& item) {
  return static_cast<size_t>(
      std::count_if(item.runs.begin(), item.runs.end(), [](const HistoryRun& run) { return run.end_ms.has_value(); }));
}

static std::string HeadOf(const History& history) {
  std::string head = "From " + ClockText(history.from_ms, history.until_ms) + " to " +
                     ClockText(history.until_ms, history.from_ms) + " (" +
                     SpanText(history.until_ms - history.from_ms) + ")";
  if (!history.log_is_whole) head += ", as far as the log reaches back";
  return head + "\n";
}

static std::string LauncherText(const HistoryLauncher& launcher, int64_t now_ms) {
  std::string text = "launcher " + std::to_string(launcher.pid) + " ";
  switch (launcher.how) {
    case HistoryLauncher::How::kRunning:
      return text + "runs" + (launcher.start_ms ? " since " + ClockText(*launcher.start_ms, now_ms) : "");
    case HistoryLauncher::How::kStopped:
      text += "was stopped at " + ClockText(*launcher.end_ms, now_ms);
      break;
    case HistoryLauncher::How::kFailed:
      text += "failed on its list at " + ClockText(*launcher.end_ms, now_ms);
      break;
    case HistoryLauncher::How::kEnded:
      text += "ended without a stop; its last line is from " + ClockText(launcher.last_record_ms, now_ms);
      break;
    case HistoryLauncher::How::kUnknown:
      text += "may still run; its last line is from " + ClockText(launcher.last_record_ms, now_ms);
      break;
  }
  if (launcher.start_ms) text += ", started " + ClockText(*launcher.start_ms, now_ms);
  return text;
}

static std::string LaunchersText(const History& history) {
  constexpr size_t kMost = 5;
  std::string text;
  const size_t count = history.launchers.size();
  if (count > kMost) text += Plural(static_cast<int64_t>(count - kMost), "earlier launcher") + ", then:\n";
  for (size_t i = count > kMost ? count - kMost : 0; i < count; ++i) {
    text += LauncherText(history.launchers[i], history.until_ms) + "\n";
  }
  return text;
}

// How many items fit beside `other_lines` of the screen.
static size_t RowsThatFit(const History& history, const Output& out, bool all, size_t other_lines) {
  const auto height = static_cast<size_t>(std::max(out.height, 0));
  if (all || !out.is_terminal || history.items.size() + other_lines <= height) return history.items.size();
  return height > other_lines + 1 ? height - other_lines - 1 : 1;
}

static std::string RestText(const History& history, size_t shown) {
  if (shown >= history.items.size()) return "";
  return Plural(static_cast<int64_t>(history.items.size() - shown), "more item") + "; --all shows them\n";
}

std::string HistoryTable(const History& history, const Output& out, bool all) {
  const size_t columns = NameColumns(history);
  std::string text = HeadOf(history) + LaunchersText(history) + "\n";
  text += Padded("item", columns) + "       up   ends  last pause    what happened\n";
  const size_t fixed = columns + 2 + 7 + 2 + 5 + 2 + 10 + 4;
  const auto width = static_cast<size_t>(out.width);
  const size_t words_columns = width > fixed + 20 ? width - fixed : 20;
  const size_t shown = RowsThatFit(history, out, all, 10);
  for (size_t i = 0; i < shown; ++i) {
    const HistoryItem& item = history.items[i];
    const HistoryRun* const last = LastEnd(item);
    const std::string pause = last != nullptr && last->pause_seconds ? SpanText(*last->pause_seconds * 1000) : "-";
    std::string words = EndsInWords(item);
    if (words.empty()) words = item.runs.empty() ? "nothing in the log" : "never ended";
    text += NameColumn(item, columns) + "  " + RightAligned(UpText(item, history), 7) + "  " +
            RightAligned(std::to_string(EndsOf(item)), 5) + "  " + RightAligned(pause, 10) + "    " +
            CutAtEnd(words, words_columns) + "\n";
  }
  return text + RestText(history, shown);
}

// --- The timeline

// What one character stands for, the more telling first where several things happen in its time.
static std::string LineOf(const HistoryItem& item, const History& history, size_t columns) {
  std::string line(columns, '.');
  std::vector<double> up(columns, 0);
  const double span = static_cast<double>(std::max<int64_t>(1, history.until_ms - history.from_ms));
  const double column_ms = span / static_cast<double>(columns);
  const auto column_of = [&](int64_t time_ms) {
    const double at = static_cast<double>(time_ms - history.from_ms) / column_ms;
    return static_cast<size_t>(std::clamp(at, 0.0, static_cast<double>(columns - 1)));
  };
  const auto end_of = [&](const HistoryRun& run) {
    return run.end_ms.value_or(run.no_later_than.value_or(history.until_ms));
  };
  for (const HistoryFailedStart& start : item.failed_starts) {
    const size_t last = column_of(start.until_ms.value_or(start.time_ms));
    for (size_t i = column_of(start.time_ms); i <= last; ++i) line[i] = start.has_no_program ? '-' : '!';
  }
  std::vector<bool> is_maybe(columns, false);
  for (const HistoryRun& run : item.runs) {
    const int64_t start_ms = std::max(run.start_ms.value_or(run.from_ms), history.from_ms);
    const int64_t end_ms = end_of(run);
    for (size_t i = column_of(start_ms); i <= column_of(end_ms); ++i) {
      const double from = static_cast<double>(history.from_ms) + static_cast<double>(i) * column_ms;
      const double overlap =
          std::min(from + column_ms, static_cast<double>(end_ms)) - std::max(from, static_cast<double>(start_ms));
      up[i] += std::max(0.0, overlap);
      if (!run.start_ms || (!run.end_ms && run.no_later_than)) is_maybe[i] = true;
    }
  }
  for (size_t i = 0; i < columns; ++i) {
    if (up[i] <= 0) continue;
    line[i] = is_maybe[i] ? '?' : up[i] >= column_ms / 2 ? '#' : ':';
  }
  for (const HistoryRun& run : item.runs) {
    if (!run.end_ms || *run.end_ms < history.from_ms || run.is_end_of_stop) continue;
    char& sign = line[column_of(*run.end_ms)];
    if (sign == ':') continue;  // Many short runs: their ends would hide how little there is of them.
    sign = IsBadEnd(run) || !run.status ? 'x' : '|';
  }
  return line;
}

std::string HistoryTimeline(const History& history, const Output& out, bool all) {
  const size_t names = NameColumns(history);
  constexpr size_t kNumbers = 2 + 7 + 2 + 6;
  const auto width = static_cast<size_t>(out.width);
  const size_t columns = width > names + 2 + kNumbers + 10 ? width - names - 2 - kNumbers : 10;
  const std::string from = ClockText(history.from_ms, history.until_ms);
  const std::string until = ClockText(history.until_ms, history.from_ms);
  std::string text = std::string(names + 2, ' ') + from;
  if (from.size() + until.size() + 1 <= columns) {
    text += std::string(columns - from.size() - until.size(), ' ') + until;
  }
  text += "       up    ends\n";
  const size_t shown = RowsThatFit(history, out, all, 6);
  for (size_t i = 0; i < shown; ++i) {
    const HistoryItem& item = history.items[i];
    const std::string line = LineOf(item, history, columns);
    const Output::Color color =
        line.find_first_of("x!-") != std::string::npos ? Output::Color::kYellow : Output::Color::kGreen;
    text += NameColumn(item, names) + "  " + out.Colored(color, line) + "  " + RightAligned(UpText(item, history), 7) +
            "  " + RightAligned(std::to_string(EndsOf(item)), 6) + "\n";
  }
  text += RestText(history, shown);
  return text +
         "# runs  : runs for less than half of the time  ? start or end not in the log  . does not run\n"
         "x bad end  | exit status 0  ! start failed  - no program in the list\n";
}

// --- Runs

std::string RunsOf(const HistoryItem& item, const History& history, bool all) {
  constexpr size_t kMost = 20;
  const auto clock = [&](int64_t time_ms) { return ClockText(time_ms, history.until_ms); };
  std::string text = "\n" + ShownText(item.name) + ":\n";
  const size_t first = all || item.runs.size() <= kMost ? 0 : item.runs.size() - kMost;
  if (first > 0) text += "  " + Plural(static_cast<int64_t>(first), "earlier run") + "; --all shows them\n";
  for (size_t i = first; i < item.runs.size(); ++i) {
    const HistoryRun& run = item.runs[i];
    std::string line = "  ";
    line += run.start_ms ? clock(*run.start_ms) + (run.start_is == StartIs::kComputed && run.end_ms ? "*" : " ")
                         : "not logged";
    line += " to " + (run.end_ms ? clock(*run.end_ms) : run.no_later_than ? "an end not in the log" : "now");
    if (run.start_ms && run.end_ms) line += "  (" + SpanText(*run.end_ms - *run.start_ms) + ")";
    if (run.pid) line += "  process " + std::to_string(*run.pid);
    if (run.end_ms) line += "  " + (run.status ? MeaningOf(*run.status) : "how is not known");
    if (run.is_end_of_stop) line += ", by the launcher's stop";
    if (run.pause_seconds) line += "  then a pause of " + SpanText(*run.pause_seconds * 1000);
    text += line + "\n";
  }
  if (item.runs.empty()) text += "  no run is in the log\n";
  if (!item.failed_starts.empty()) {
    const HistoryFailedStart& last = item.failed_starts.back();
    const auto failed = static_cast<int64_t>(item.failed_starts.size());
    text += "  " + Plural(failed, "failed start") + ", the last at " + clock(last.time_ms) +
            (last.has_no_program ? ": no program in the list"
             : last.fork_failed  ? ": there could be no further process, the item was given up"
                                 : "") +
            "\n";
  }
  const bool has_computed =
      std::any_of(item.runs.begin() + static_cast<std::ptrdiff_t>(first), item.runs.end(),
                  [](const HistoryRun& run) { return run.start_is == StartIs::kComputed && run.end_ms; });
  if (has_computed) text += "  * computed: the end before it, plus the pause\n";
  return text;
}

// --- JSON

static JsonObject TimeOrNull(const std::optional<int64_t>& time_ms) {
  return time_ms ? Text(Rfc3339(*time_ms)) : Null();
}

template <typename Integer>
static JsonObject NumberOrNull(const std::optional<Integer>& number) {
  return number ? Number(*number) : Null();
}

JsonObject HistoryToJson(const History& history) {
  JsonObject items = EmptyArray();
  for (const HistoryItem& item : history.items) {
    JsonObject runs = EmptyArray();
    for (const HistoryRun& run : item.runs) {
      JsonObject entry = JsonObject::GetEmptyObject();
      entry.Insert("start", TimeOrNull(run.start_ms));
      entry["start_is"] = std::string(StartIsName(run.start_is));
      entry.Insert("end", TimeOrNull(run.end_ms));
      entry.Insert("pid", NumberOrNull(run.pid));
      entry.Insert("status", NumberOrNull(run.status));
      entry.Insert("meaning", run.status ? Text(MeaningOf(*run.status)) : Null());
      entry.Insert("pause_seconds", NumberOrNull(run.pause_seconds));
      runs.InsertArrayItem(entry);
    }
    JsonObject failed = EmptyArray();
    for (const HistoryFailedStart& start : item.failed_starts) {
      JsonObject entry = JsonObject::GetEmptyObject();
      entry["start"] = Rfc3339(start.time_ms);
      entry["reason"] = std::string(start.has_no_program ? "no-program"
                                    : start.fork_failed  ? "given-up"
                                                         : "start-fails");
      failed.InsertArrayItem(entry);
    }
    JsonObject entry = JsonObject::GetEmptyObject();
    entry["name"] = JsonText(item.name);
    entry.Insert("runs", runs);
    entry.Insert("failed_starts", failed);
    items.InsertArrayItem(entry);
  }
  JsonObject launchers = EmptyArray();
  for (const HistoryLauncher& launcher : history.launchers) {
    JsonObject entry = JsonObject::GetEmptyObject();
    entry.Insert("pid", Number(launcher.pid));
    entry.Insert("start", TimeOrNull(launcher.start_ms));
    entry.Insert("end", TimeOrNull(launcher.end_ms));
    entry["how"] = std::string(HowName(launcher.how));
    launchers.InsertArrayItem(entry);
  }
  JsonObject answer = JsonObject::GetEmptyObject();
  answer.Insert("items", items);
  answer.Insert("launchers", launchers);
  return answer;
}
