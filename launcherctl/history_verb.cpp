#include "launcherctl/history_verb.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <memory>

#include "launcherctl/clock_text.h"
#include "launcherctl/escape.h"
#include "launcherctl/exit_status.h"
#include "launcherctl/history.h"
#include "launcherctl/history_picture.h"
#include "launcherctl/history_text.h"
#include "launcherctl/launch_list_reader.h"
#include "launcherctl/launchers.h"
#include "launcherctl/nearest.h"
#include "launcherctl/time_argument.h"

// --- Gathering

static std::vector<HistoryName> NamesOf(const LaunchList& list) {
  std::vector<HistoryName> names;
  for (const LaunchListItem* item : list.SupervisedItems()) {
    if (item->name) names.push_back({*item->name, item->run_once});
  }
  return names;
}

static bool HasAny(const Log& log) {
  return std::any_of(log.files.begin(), log.files.end(),
                     [](const LogFile& file) { return file.state == LogFile::State::kRead; });
}

static std::string WhyNoLog(const Log& log, const std::string& folder) {
  std::string why = "there is no log: " + ShownText(folder + "/launcher.log");
  if (log.files.empty()) return why;
  switch (log.files[0].state) {
    case LogFile::State::kUnreadable:
      return why + " can't be read: " + log.files[0].reason;
    case LogFile::State::kNotAFile:
      return why + " is not a file";
    default:
      return why + " does not exist";
  }
}

static HistoryPresence PresenceOf(const RunningLauncher& launcher) {
  HistoryPresence presence;
  presence.pid = launcher.process.pid;
  presence.started_ms = launcher.process.started_ms;
  for (const ItemKnowledge& item : launcher.known.items) {
    if (item.state != ItemState::kRunning || !item.pid || !item.since_ms) continue;
    presence.programs.push_back({item.name, *item.pid, *item.since_ms});
  }
  return presence;
}

static void Append(History&& more, History& history) {
  if (history.launchers.empty() && history.items.empty()) {
    history = std::move(more);
    return;
  }
  std::move(more.items.begin(), more.items.end(), std::back_inserter(history.items));
  std::move(more.launchers.begin(), more.launchers.end(), std::back_inserter(history.launchers));
  history.from_ms = std::min(history.from_ms, more.from_ms);
  history.until_ms = std::max(history.until_ms, more.until_ms);
  history.records += more.records;
  history.log_is_whole = history.log_is_whole && more.log_is_whole;
}

// A log from elsewhere: nothing is asked of this machine, and its last record is the present.
static bool GatherFromFolder(const HistoryOptions& options, History& history, Output& out) {
  Log log = ReadLog(options.log_folder);
  for (LogFile& file : log.files) file.born_ms = 0;  // When it was copied.
  if (!HasAny(log)) {
    out.Error(WhyNoLog(log, options.log_folder));
    return false;
  }
  HistoryFacts facts;
  facts.log = &log;
  facts.launchers_are_known = false;
  facts.now_ms = log.records.empty() ? NowMs() : log.records.back().time_ms;
  if (!options.list.empty()) facts.names = NamesOf(ReadLaunchList(options.list));
  history = MakeHistory(facts);
  return true;
}

static bool GatherHere(const HistoryOptions& options, History& history, Output& out) {
  WhichLaunchers which;
  which.with_findings = false;
  const Observation observation = Observe(which);
  struct Source {
    std::shared_ptr<Log> log;
    std::vector<HistoryName> names;
    std::vector<HistoryPresence> launchers;
  };
  std::map<std::string, Source> sources;  // By folder.
  for (const RunningLauncher& launcher : observation.launchers) {
    Source& source = sources[launcher.log_folder];
    // What was read for its state may not reach back beyond its start.
    if (source.log == nullptr) source.log = std::make_shared<Log>(ReadLog(launcher.log_folder));
    const std::vector<HistoryName> names = NamesOf(launcher.list);
    source.names.insert(source.names.end(), names.begin(), names.end());
    source.launchers.push_back(PresenceOf(launcher));
  }
  const std::string own_folder = LogFolderOf(SettingsOf(OwnBundle()).sdk_name);
  if (sources.count(own_folder) == 0) sources[own_folder].log = std::make_shared<Log>(ReadLog(own_folder));

  bool has_any = false;
  for (auto& [folder, source] : sources) {
    if (!HasAny(*source.log) && source.launchers.empty()) continue;
    has_any = has_any || HasAny(*source.log);
    if (!options.list.empty() && source.names.empty()) source.names = NamesOf(ReadLaunchList(options.list));
    HistoryFacts facts;
    facts.log = source.log.get();
    facts.names = source.names;
    facts.launchers = source.launchers;
    facts.now_ms = NowMs();
    Append(MakeHistory(facts), history);
  }
  if (!has_any) out.Error(WhyNoLog(*sources[own_folder].log, own_folder));
  return has_any;
}

// --- Choosing

static bool KeepNamed(const std::vector<std::string>& names, History& history, Output& out) {
  if (names.empty()) return true;
  std::vector<HistoryItem> kept;
  for (const std::string& name : names) {
    const auto is_meant = [&](const HistoryItem& item) {
      return item.name == name || LoggedForm(item.name) == name || ShownText(item.name) == name;
    };
    const auto found = std::find_if(history.items.begin(), history.items.end(), is_meant);
    if (found != history.items.end()) {
      kept.push_back(*found);
      continue;
    }
    std::vector<std::string> known;
    for (const HistoryItem& item : history.items) known.push_back(item.name);
    const std::string near = NearestOf(name, known);
    out.Error("neither the log nor the list knows " + Quoted(name) +
              (near.empty() ? "" : "; did you mean " + Quoted(near) + "?"));
    return false;
  }
  history.items = std::move(kept);
  return true;
}

// --- Pictures

// Writes the file, and says why where that fails. Waits on nothing that may stand in its place.
static bool WriteFile(const std::string& path, const std::string& text, Output& out) {
  const auto fail = [&](const std::string& why) {
    out.Error(ShownText(path) + " can't be written: " + why);
    return false;
  };
  constexpr mode_t kMode = 0644;
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, kMode);
  if (file < 0) return fail(strerror(errno));
  struct stat status = {};
  int error = 0;
  if (fstat(file, &status) == 0 && !S_ISREG(status.st_mode)) {
    (void)close(file);
    return fail("it is not a file");
  }
  if (ftruncate(file, 0) != 0) error = errno;
  for (size_t written = 0; error == 0 && written < text.size();) {
    const ssize_t count = write(file, text.data() + written, text.size() - written);
    if (count >= 0) written += static_cast<size_t>(count);
    if (count < 0 && errno != EINTR) error = errno;
  }
  if (close(file) != 0 && error == 0) error = errno;
  return error == 0 || fail(strerror(error));
}

static bool WritePicture(const std::optional<std::string>& path, const std::string& picture, Output& out) {
  if (!path) return true;
  if (*path == "-") {
    out.Write(picture);
    return true;
  }
  if (!WriteFile(*path, picture, out)) return false;
  if (!out.json) out.Write("written: " + ShownText(*path) + "\n");
  return true;
}

int RunHistory(const HistoryOptions& options, Output& out) {
  if (out.json && (options.svg == "-" || options.html == "-")) {
    out.Error("--json and a picture on standard output exclude each other");
    return kNotAnswered;
  }
  History history;
  const bool has_log =
      options.log_folder.empty() ? GatherHere(options, history, out) : GatherFromFolder(options, history, out);
  if (!has_log || !KeepNamed(options.names, history, out)) return kNotAnswered;
  if (options.since) {
    const auto since_ms = ReadTimeArgument(*options.since, history.until_ms);
    if (!since_ms) {
      out.Error(Quoted(*options.since) + " is no time: give 02:00, yesterday, 3h, or 2026-11-21T02:00:00+01:00");
      return kNotAnswered;
    }
    KeepSince(history, *since_ms);
  }
  const PictureTexts texts = {"launcher history"};
  if (options.svg && !WritePicture(options.svg, HistorySvg(history, texts), out)) return kNotAnswered;
  if (options.html && !WritePicture(options.html, HistoryHtml(history, texts), out)) return kNotAnswered;
  if (out.json) {
    out.WriteJson(HistoryToJson(history));
  } else if (options.timeline) {
    out.Write(HistoryTimeline(history, out, options.all));
  } else if (!options.svg && !options.html) {
    out.Write(HistoryTable(history, out, options.all));
    if (!options.names.empty()) {
      for (const HistoryItem& item : history.items) out.Write(RunsOf(item, history, options.all));
    }
  }
  return kAllIsWell;
}
