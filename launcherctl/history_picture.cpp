#include "launcherctl/history_picture.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <iomanip>
#include <sstream>
#include <vector>

#include "launcherctl/clock_text.h"
#include "launcherctl/escape.h"
#include "launcherctl/text_table.h"
#include "launcherctl/wait_status.h"

// --- Measures, in pixels

static constexpr double kLeft = 160;
static constexpr double kPlot = 740;
static constexpr double kWidth = 1340;
static constexpr double kTop = 104;
static constexpr double kRow = 34;
static constexpr double kBar = 22;
static constexpr double kNarrow = 2;        // A run below this is joined with its neighbours.
static constexpr double kBetweenMarks = 3;  // At most one mark in so many pixels.
static constexpr size_t kMostRows = 40;
static constexpr size_t kLongestName = 22;  // In characters, as is the next one.
static constexpr size_t kLongestWords = 38;

// --- XML

static std::string Xml(const std::string& text) {
  std::string escaped;
  for (const char c : ShownText(text)) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      case '\'':
        escaped += "&#39;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

static std::string Pixels(double value) {
  char text[32];
  (void)snprintf(text, sizeof(text), "%.1f", value);
  return text;
}

static std::string TextAt(double x, double y, const std::string& text, const std::string& more = "") {
  return "<text x=\"" + Pixels(x) + "\" y=\"" + Pixels(y) + "\"" + more + ">" + Xml(text) + "</text>";
}

static std::string RectAt(double x, double y, double width, double height, const std::string& kind,
                          const std::string& title) {
  return "<rect class=\"" + kind + "\" x=\"" + Pixels(x) + "\" y=\"" + Pixels(y) + "\" width=\"" + Pixels(width) +
         "\" height=\"" + Pixels(height) + "\">" + (title.empty() ? "" : "<title>" + Xml(title) + "</title>") +
         "</rect>\n";
}

// --- Time

static tm LocalTime(int64_t time_ms) {
  const time_t seconds = static_cast<time_t>(time_ms / 1000);
  tm local = {};
  (void)localtime_r(&seconds, &local);
  return local;
}

// The local time in a form of `strftime`, "C" locale.
static std::string TimeText(int64_t time_ms, const char* form) {
  const tm local = LocalTime(time_ms);
  std::ostringstream text;
  text << std::put_time(&local, form);
  return text.str();
}

static std::string DateText(int64_t time_ms) { return TimeText(time_ms, "%F"); }

static std::string MinuteText(int64_t time_ms) { return TimeText(time_ms, "%H:%M"); }

static std::string OffsetText(int64_t time_ms) { return TimeText(time_ms, "UTC%z"); }

// Round local times, at most about ten. Across a change of the offset they stay round.
static std::vector<int64_t> Marks(int64_t from_ms, int64_t until_ms) {
  static constexpr int64_t kSteps[] = {1,    5,    10,   30,    60,    120,   300,   600,    900,
                                       1800, 3600, 7200, 10800, 21600, 43200, 86400, 172800, 604800};
  constexpr int64_t kMost = 10;
  const int64_t span = (until_ms - from_ms) / 1000;
  int64_t step = span / kMost + 1;
  for (const int64_t candidate : kSteps) {
    if (candidate < step) continue;
    step = candidate;
    break;
  }
  std::vector<int64_t> marks;
  for (int64_t second = from_ms / 1000; second <= until_ms / 1000;) {
    const int64_t local = second + LocalTime(second * 1000).tm_gmtoff;
    const int64_t past = ((local % step) + step) % step;
    if (past == 0) {
      marks.push_back(second * 1000);
      // The offset may change on the way, by a quarter of an hour at the least.
      second += std::min<int64_t>(step, 900);
    } else {
      second += std::min<int64_t>(step - past, 900 - ((local % 900) + 900) % 900);
    }
  }
  return marks;
}

// --- One row

class Row {
 public:
  Row(const History& given_history, const HistoryItem& given_item, double given_y)
      : history(given_history), item(given_item), y(given_y) {}

  std::string Drawn() {
    drawing += RectAt(kLeft, y, kPlot, kBar, "idle", "");
    DrawPauses();
    DrawFailedStarts();
    DrawRuns();
    DrawEnds();
    DrawNumbers();
    return "<g>" +
           TextAt(kLeft - 10, y + 15, CutInMiddle(ShownText(item.name), kLongestName),
                  " class=\"t\" text-anchor=\"end\"") +
           drawing + "</g>\n";
  }

 private:
  double X(int64_t time_ms) const {
    const int64_t clamped = std::clamp(time_ms, history.from_ms, history.until_ms);
    const auto span = static_cast<double>(std::max<int64_t>(1, history.until_ms - history.from_ms));
    return kLeft + kPlot * static_cast<double>(clamped - history.from_ms) / span;
  }

  int64_t EndOf(const HistoryRun& run) const {
    return run.end_ms.value_or(run.no_later_than.value_or(history.until_ms));
  }

  std::string Clock(int64_t time_ms) const { return ClockText(time_ms, history.until_ms); }

  std::string TitleOf(const HistoryRun& run) const {
    const int64_t end_ms = EndOf(run);
    std::string title;
    if (run.start_ms) {
      title = "ran " + Clock(*run.start_ms) + " to " + (run.end_ms || run.no_later_than ? Clock(end_ms) : "now") +
              " (" + SpanText(end_ms - *run.start_ms) + ")";
    } else {
      title = "ran until " + Clock(end_ms) +
              "; its start is not in the log: it may have begun later than drawn, or "
              "after starts that failed";
    }
    if (run.no_later_than && !run.end_ms) title += "; its end is not in the log";
    if (run.status) title += ", " + MeaningOf(*run.status);
    if (run.is_end_of_stop) title += ", by the launcher's stop";
    if (run.pause_seconds) title += "; then a pause of " + SpanText(*run.pause_seconds * 1000);
    return title;
  }

  void DrawPauses() {
    struct Band {
      double start = 0, end = 0;
      int64_t from_ms = 0, until_ms = 0;
      size_t count = 0;
      int64_t longest_seconds = 0;
    } band;
    const auto draw = [&] {
      if (band.count == 0) return;
      const std::string title =
          band.count == 1 ? "pause of " + SpanText(band.longest_seconds * 1000) + " until " + Clock(band.until_ms)
                          : std::to_string(band.count) + " pauses between " + Clock(band.from_ms) + " and " +
                                Clock(band.until_ms) + ", up to " + SpanText(band.longest_seconds * 1000);
      drawing += RectAt(band.start, y + 9, std::max(band.end - band.start, 1.0), 4, "pause", title);
      band = Band();
    };
    for (const HistoryRun& run : item.runs) {
      if (!run.end_ms || !run.pause_seconds) continue;
      const int64_t until_ms = std::min(*run.end_ms + *run.pause_seconds * 1000, history.until_ms);
      const double start = X(*run.end_ms);
      const double end = X(until_ms);
      // Close ones become one band: a crash loop is one line, from its first pause on.
      if (band.count > 0 && (start - band.end > kBetweenMarks || end - start > kPlot / 8)) draw();
      if (band.count == 0) {
        band.start = start;
        band.from_ms = *run.end_ms;
      }
      band.end = std::max(band.end, end);
      band.until_ms = until_ms;
      band.longest_seconds = std::max(band.longest_seconds, *run.pause_seconds);
      ++band.count;
    }
    draw();
  }

  void DrawFailedStarts() {
    double last = -kBetweenMarks;
    double line_start = 0, line_end = -1;
    size_t in_line = 0;
    int64_t line_from_ms = 0, line_until_ms = 0;
    const auto draw_line = [&] {
      if (line_end < line_start) return;
      drawing += RectAt(line_start, y + 9, std::max(line_end - line_start, 2.0), 4, "chain",
                        Plural(static_cast<int64_t>(in_line), "failed start") + ", " + Clock(line_from_ms) + " to " +
                            Clock(line_until_ms));
      line_end = -1;
      in_line = 0;
    };
    for (const HistoryFailedStart& start : item.failed_starts) {
      const double x = X(start.time_ms);
      if (!start.has_no_program) {
        const int64_t until_ms = start.until_ms.value_or(start.time_ms);
        if (line_end < line_start || x - line_end > kBetweenMarks) {
          draw_line();
          line_start = x;
          line_from_ms = start.time_ms;
        }
        line_end = std::max(X(until_ms), x);
        line_until_ms = until_ms;
        ++in_line;
      }
      if (x - last < kBetweenMarks) continue;
      last = x;
      const char* const what = start.has_no_program ? "no program in the list"
                               : start.fork_failed  ? "there could be no further process: given up"
                                                    : "the program could not be started";
      drawing += RectAt(x, y + 4, 1, 14, start.has_no_program ? "none" : "chain", Clock(start.time_ms) + ": " + what);
    }
    draw_line();
  }

  void DrawRuns() {
    struct Column {
      double up = 0;  // In pixels.
      size_t runs = 0;
      int64_t from_ms = 0, until_ms = 0;
    };
    std::vector<Column> columns(static_cast<size_t>(kPlot / kNarrow) + 1);
    for (const HistoryRun& run : item.runs) {
      const double start = X(run.start_ms.value_or(run.from_ms));
      const double end = X(EndOf(run));
      if (end - start >= kNarrow) {
        const bool is_known = run.start_ms.has_value() && (run.end_ms || !run.no_later_than);
        drawing += RectAt(start, y, end - start, kBar, is_known ? "run" : "maybe", TitleOf(run));
        continue;
      }
      Column& column = columns[static_cast<size_t>((start - kLeft) / kNarrow)];
      if (column.runs == 0) column.from_ms = run.start_ms.value_or(EndOf(run));
      column.until_ms = EndOf(run);
      column.up += end - start;
      ++column.runs;
    }
    for (size_t i = 0; i < columns.size(); ++i) {
      const Column& column = columns[i];
      if (column.runs == 0) continue;
      const double share = std::min(1.0, column.up / kNarrow);
      const double height = std::max(2.0, kBar * share);
      const std::string title = Plural(static_cast<int64_t>(column.runs), "short run") + " between " +
                                Clock(column.from_ms) + " and " + Clock(column.until_ms) + ", drawn together";
      drawing +=
          RectAt(kLeft + static_cast<double>(i) * kNarrow, y + kBar - height, kNarrow - 0.5, height, "run", title);
      is_joined = is_joined || column.runs > 1;
    }
  }

  void DrawEnds() {
    double last = -kBetweenMarks;
    double last_good = -kBetweenMarks;
    for (const HistoryRun& run : item.runs) {
      if (!run.end_ms || *run.end_ms < history.from_ms || run.is_end_of_stop) continue;
      const double x = X(*run.end_ms);
      if (IsBadEnd(run) || !run.status) {
        if (x - last < kBetweenMarks) continue;
        last = x;
        drawing += "<path class=\"bad\" d=\"M" + Pixels(x) + " " + Pixels(y + 3) + " l-3.5 -6 h7z\"><title>" +
                   Xml(Clock(*run.end_ms) + ": " + (run.status ? MeaningOf(*run.status) : "ended, how is not known")) +
                   "</title></path>\n";
      } else {
        if (x - last_good < kBetweenMarks) continue;
        last_good = x;
        drawing += RectAt(x - 0.5, y - 3, 1.5, 6, "good", Clock(*run.end_ms) + ": exit status 0");
      }
    }
  }

  void DrawNumbers() {
    bool at_most = false;
    const double share = ShareUp(item, history.from_ms, history.until_ms, at_most);
    char up[32];
    (void)snprintf(up, sizeof(up), "%s%.0f %%", at_most ? "\u2264 " : "", share * 100);
    size_t ends = 0;
    const HistoryRun* last_end = nullptr;
    for (const HistoryRun& run : item.runs) {
      if (!run.end_ms) continue;
      ++ends;
      last_end = &run;
    }
    const double base = y + 15;
    const std::string right = " class=\"t\" text-anchor=\"end\"";
    drawing += TextAt(kLeft + kPlot + 56, base, up, right);
    drawing += TextAt(kLeft + kPlot + 100, base, std::to_string(ends), right);
    if (last_end != nullptr && last_end->pause_seconds) {
      drawing += TextAt(kLeft + kPlot + 180, base, SpanText(*last_end->pause_seconds * 1000), right);
    }
    const std::string words = EndsInWords(item, true);
    drawing += TextAt(
        kLeft + kPlot + 194, base,
        words.empty() ? (item.runs.empty() ? "nothing in the log" : "never ended") : CutAtEnd(words, kLongestWords),
        " class=\"t\"");
  }

  const History& history;
  const HistoryItem& item;
  double y;
  std::string drawing;

 public:
  bool is_joined = false;
};

// --- The whole picture

static constexpr char kStyle[] =
    "<style>.bg{fill:#fff}.t{fill:#1f2328}.d{fill:#57606a}.run{fill:#0f8a68}.idle{fill:#eceff2}.pause{fill:#e6a100}"
    ".none{fill:#6e7781}.chain{fill:#8f3fa8}.bad{fill:#cf222e}.good{fill:#57606a}.maybe{fill:url(#maybe)}"
    ".grid{stroke:#d0d7de}.life{stroke:#57606a;stroke-dasharray:3 2}"
    "@media(prefers-color-scheme:dark){.bg{fill:#0d1117}.t{fill:#e6edf3}.d{fill:#9198a1}.idle{fill:#21262d}"
    ".run{fill:#23b48a}.good{fill:#b1bac4}.none{fill:#9198a1}.chain{fill:#c678dd}.bad{fill:#ff6b63}"
    ".grid{stroke:#3d444d}.life{stroke:#b1bac4}}"
    "@media print{.bg{fill:#fff}.t{fill:#000}}</style>\n"
    "<defs><pattern id=\"maybe\" width=\"6\" height=\"6\" patternUnits=\"userSpaceOnUse\" "
    "patternTransform=\"rotate(45)\"><rect width=\"3\" height=\"6\" class=\"run\"/></pattern></defs>\n";

static std::string RangeText(const History& history) {
  const bool is_one_day = DateText(history.from_ms) == DateText(history.until_ms);
  return DateText(history.from_ms) + " " + MinuteText(history.from_ms) + " to " +
         (is_one_day ? "" : DateText(history.until_ms) + " ") + MinuteText(history.until_ms);
}

static bool IsQuiet(const HistoryItem& item) {
  if (!item.failed_starts.empty()) return false;
  for (const HistoryRun& run : item.runs) {
    if (run.end_ms && !run.is_end_of_stop) return false;
  }
  return true;
}

// Those that are drawn; of many the ones that something has happened to come first.
static std::vector<const HistoryItem*> Shown(const History& history, size_t& quiet, size_t& left_out) {
  std::vector<const HistoryItem*> shown;
  quiet = left_out = 0;
  if (history.items.size() <= kMostRows) {
    for (const HistoryItem& item : history.items) shown.push_back(&item);
    return shown;
  }
  for (const HistoryItem& item : history.items) {
    if (IsQuiet(item)) {
      ++quiet;
    } else if (shown.size() < kMostRows) {
      shown.push_back(&item);
    } else {
      ++left_out;
    }
  }
  return shown;
}

static std::string LauncherLines(const History& history, double bottom) {
  const auto span = static_cast<double>(std::max<int64_t>(1, history.until_ms - history.from_ms));
  const auto line = [&](int64_t time_ms, const std::string& sign, const std::string& title) -> std::string {
    if (time_ms < history.from_ms || time_ms > history.until_ms) return "";
    const double x = kLeft + kPlot * static_cast<double>(time_ms - history.from_ms) / span;
    return "<g><line class=\"life\" x1=\"" + Pixels(x) + "\" x2=\"" + Pixels(x) + "\" y1=\"" + Pixels(kTop - 12) +
           "\" y2=\"" + Pixels(bottom) + "\"/>" +
           TextAt(x, kTop - 14, sign, " class=\"d\" font-size=\"9\" text-anchor=\"middle\"") + "<title>" + Xml(title) +
           "</title></g>\n";
  };
  std::string lines;
  constexpr size_t kMostLines = 200;
  size_t drawn = 0;
  for (const HistoryLauncher& launcher : history.launchers) {
    if (++drawn > kMostLines) break;
    const std::string who = "launcher " + std::to_string(launcher.pid);
    const auto clock = [&](int64_t time_ms) { return ClockText(time_ms, history.until_ms); };
    if (launcher.start_ms) lines += line(*launcher.start_ms, "\u25b6", who + " started " + clock(*launcher.start_ms));
    if (launcher.end_ms) {
      lines += line(*launcher.end_ms, "\u25a0", who + " " + HowName(launcher.how) + " " + clock(*launcher.end_ms));
    } else if (launcher.how == HistoryLauncher::How::kEnded) {
      lines += line(launcher.last_record_ms, "\u2715",
                    who + " ended without a stop, some time after its last line at " + clock(launcher.last_record_ms));
    }
  }
  return lines;
}

static std::string Legend(double y, bool is_joined) {
  struct Entry {
    std::string sign;
    std::string text;
  };
  const auto swatch = [](const char* kind, double width, double height) {
    return RectAt(0, 6 - height / 2, width, height, kind, "");
  };
  std::vector<Entry> entries = {
      {swatch("run", 14, 12), is_joined ? "runs (short ones joined: height is their share of the time)" : "runs"},
      {swatch("maybe", 14, 12), "start or end not in the log"},
      {swatch("pause", 14, 4), "pauses"},
      {"<path class=\"bad\" d=\"M7 11 l-4 -8 h8z\"/>", "ended by a signal or with a status other than 0"},
      {swatch("good", 2, 10), "ended with 0"},
      {swatch("chain", 14, 4), "start failed"},
      {swatch("none", 2, 14), "no program"},
      {"<line class=\"life\" x1=\"6\" x2=\"6\" y1=\"0\" y2=\"12\"/>",
       "launcher started, stopped, gone: \u25b6 \u25a0 \u2715"},
  };
  std::string legend;
  double x = kLeft;
  for (const Entry& entry : entries) {
    const double width = 34 + static_cast<double>(CountCharacters(entry.text)) * 6.6;
    if (x + width > kWidth - 20) {
      x = kLeft;
      y += 22;
    }
    legend += "<g transform=\"translate(" + Pixels(x) + " " + Pixels(y) + ")\">" + entry.sign +
              TextAt(20, 10, entry.text, " class=\"d\"") + "</g>\n";
    x += width;
  }
  return legend;
}

static std::string Picture(const History& history, const PictureTexts& texts) {
  size_t quiet = 0;
  size_t left_out = 0;
  const std::vector<const HistoryItem*> shown = Shown(history, quiet, left_out);
  const std::string title = ShownText(texts.title) + ", " + RangeText(history);
  const bool shows_starts = std::any_of(history.launchers.begin(), history.launchers.end(),
                                        [](const HistoryLauncher& launcher) { return launcher.shows_starts; });
  std::string offset = OffsetText(history.from_ms);
  const std::string last_offset = OffsetText(history.until_ms);
  if (last_offset != offset) offset += ", then " + last_offset;
  std::string head = Plural(static_cast<int64_t>(history.records), "record") + ", " +
                     (shows_starts ? "starts logged" : "starts computed: the log shows ends only") + ", " + offset;
  if (!history.log_is_whole) head += "; what came before is not in the log";

  std::string rows;
  bool is_joined = false;
  double y = kTop;
  for (const HistoryItem* item : shown) {
    Row row(history, *item, y);
    rows += row.Drawn();
    is_joined = is_joined || row.is_joined;
    y += kRow;
  }
  const std::string rest = " class=\"d\"";
  if (quiet > 0) {
    rows += TextAt(kLeft, y + 15,
                   Plural(static_cast<int64_t>(quiet), "more item") + ": none of their ends is in the log", rest);
    y += kRow;
  }
  if (left_out > 0) {
    rows += TextAt(kLeft, y + 15,
                   Plural(static_cast<int64_t>(left_out), "more item") + " with ends: name some to see them", rest);
    y += kRow;
  }
  const double bottom = y - kRow + kBar + 8;

  std::string grid;
  const auto span = static_cast<double>(std::max<int64_t>(1, history.until_ms - history.from_ms));
  const std::vector<int64_t> marks = Marks(history.from_ms, history.until_ms);
  const bool in_seconds = marks.size() > 1 && marks[1] - marks[0] < 60000;
  const bool in_days = marks.size() > 1 && marks[1] - marks[0] >= 86400000;
  const char* const form = in_days ? "%d %b" : in_seconds ? "%H:%M:%S" : "%H:%M";
  for (const int64_t mark : marks) {
    const double x = kLeft + kPlot * static_cast<double>(mark - history.from_ms) / span;
    grid += "<line class=\"grid\" x1=\"" + Pixels(x) + "\" x2=\"" + Pixels(x) + "\" y1=\"" + Pixels(kTop - 10) +
            "\" y2=\"" + Pixels(bottom) + "\"/>" +
            TextAt(x, kTop - 28, TimeText(mark, form), " class=\"d\" text-anchor=\"middle\"") + "\n";
  }
  const std::string right = " class=\"d\" text-anchor=\"end\"";
  grid += TextAt(kLeft + kPlot + 56, kTop - 28, "up", right) + TextAt(kLeft + kPlot + 100, kTop - 28, "ends", right) +
          TextAt(kLeft + kPlot + 180, kTop - 28, "last pause", right) +
          TextAt(kLeft + kPlot + 194, kTop - 28, "what happened", " class=\"d\"") + "\n";

  const double height = bottom + 84;
  return "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + Pixels(kWidth) + "\" height=\"" + Pixels(height) +
         "\" viewBox=\"0 0 " + Pixels(kWidth) + " " + Pixels(height) +
         "\" font-family=\"DejaVu Sans, Helvetica, Arial, sans-serif\" font-size=\"12\" role=\"img\" aria-label=\"" +
         Xml(title) + "\">\n<title>" + Xml(title) + "</title>\n" + kStyle +
         "<rect class=\"bg\" width=\"100%\" height=\"100%\"/>\n" +
         TextAt(12, 28, title, " class=\"t\" font-size=\"16\" font-weight=\"600\"") +
         TextAt(12, 48, head, " class=\"d\"") + "\n" + grid + rows + LauncherLines(history, bottom) +
         Legend(bottom + 22, is_joined) + "</svg>\n";
}

std::string HistorySvg(const History& history, const PictureTexts& texts) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + Picture(history, texts);
}

std::string HistoryHtml(const History& history, const PictureTexts& texts) {
  std::string page =
      "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>" + Xml(texts.title) + "</title>\n" +
      "<style>body{font:14px/1.4 sans-serif;margin:1em;color-scheme:light dark}svg{max-width:100%;height:auto}" +
      "table{border-collapse:collapse;margin-top:1em}td,th{padding:.2em .8em;text-align:left}" +
      "td.n{text-align:right}</style></head><body>\n" + Picture(history, texts) +
      "<table><tr><th>item</th><th>up</th><th>ends</th><th>what happened</th></tr>\n";
  for (const HistoryItem& item : history.items) {
    bool at_most = false;
    char up[32];
    (void)snprintf(up, sizeof(up), "%.0f %%", 100 * ShareUp(item, history.from_ms, history.until_ms, at_most));
    const auto ends =
        std::count_if(item.runs.begin(), item.runs.end(), [](const HistoryRun& run) { return run.end_ms.has_value(); });
    page += "<tr><td>" + Xml(item.name) + "</td><td class=\"n\">" + (at_most ? "at most " : "") + up +
            "</td><td class=\"n\">" + std::to_string(ends) + "</td><td>" + Xml(EndsInWords(item)) + "</td></tr>\n";
  }
  return page + "</table></body></html>\n";
}
