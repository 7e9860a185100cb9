#include "launcherctl/why_verb.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <set>

#include "common/settings/paths.h"
#include "launcherctl/check_list.h"
#include "launcherctl/diagnosis.h"
#include "launcherctl/escape.h"
#include "launcherctl/exit_status.h"
#include "launcherctl/json_parts.h"
#include "launcherctl/nearest.h"
#include "launcherctl/read_file.h"
#include "launcherctl/text_table.h"

static int Say(const Diagnosis& diagnosis, Output& out) {
  if (out.json) {
    JsonObject answer = JsonObject::GetEmptyObject();
    answer.Insert("item", diagnosis.item ? Text(JsonText(*diagnosis.item)) : JsonObject("null"));
    answer["diagnosis"] = diagnosis.code;
    answer["summary"] = JsonText(diagnosis.summary);
    JsonObject evidence = EmptyArray();
    for (const Evidence& piece : diagnosis.evidence) {
      JsonObject json = JsonObject::GetEmptyObject();
      json["where"] = JsonText(piece.where);
      json["text"] = JsonText(piece.text);
      evidence.InsertArrayItem(json);
    }
    answer.Insert("evidence", evidence);
    JsonObject remedy = EmptyArray();
    for (const std::string& step : diagnosis.remedy) remedy.InsertArrayItem(JsonText(step));
    answer.Insert("remedy", remedy);
    out.WriteJson(answer);
    return IsWell(diagnosis) ? kAllIsWell : kAnswerIsBad;
  }
  const Output::Color color = IsWell(diagnosis) ? Output::Color::kGreen : Output::Color::kRed;
  out.Write(out.Colored(color, diagnosis.summary) + " [" + diagnosis.code + "]\n");
  size_t column = 0;
  constexpr size_t kWidestColumn = 32;
  for (const Evidence& piece : diagnosis.evidence) {
    column = std::max(column, std::min(CountCharacters(piece.where), kWidestColumn));
  }
  if (!diagnosis.evidence.empty()) out.Write("\n");
  for (const Evidence& piece : diagnosis.evidence) {
    const bool fits = CountCharacters(piece.where) <= kWidestColumn;
    out.Write("  " + (fits ? Padded(piece.where, column) : piece.where + "\n  " + std::string(column, ' ')) + "  " +
              piece.text + "\n");
  }
  if (!diagnosis.remedy.empty()) out.Write("\nDo:\n");
  for (const std::string& step : diagnosis.remedy) out.Write("  " + step + "\n");
  return IsWell(diagnosis) ? kAllIsWell : kAnswerIsBad;
}

// --- Names

static int SayUnknownName(const std::string& name, const std::set<std::string>& names, Output& out) {
  const std::string near = NearestOf(name, {names.begin(), names.end()});
  std::string text = "neither list nor log knows an item " + Quoted(name);
  if (!near.empty()) {
    text += "; did you mean " + Quoted(near) + "?";
  } else if (!names.empty() && names.size() <= 12) {
    std::set<std::string> shown;  // A name stands among them twice: as in the list, and as the log has it.
    for (const std::string& known : names) shown.insert(Quoted(known));
    text += "; there are";
    for (const std::string& known : shown) text += " " + known;
  }
  out.Error(text);
  return kNotAnswered;
}

static bool IsCalled(const ItemKnowledge& item, const std::string& name) {
  return item.has_name && (item.name == name || LoggedForm(item.name) == name);
}

// --- With a launcher

// Of items of one name the one that needs a person.
static int RankOf(const ItemKnowledge& item) {
  if (item.trouble) return 0;
  return item.state == ItemState::kReplaced ? 1 : 2;
}

static int WhyItem(const std::string& name, const Observation& observation, Output& out) {
  const RunningLauncher* found_launcher = nullptr;
  const ItemKnowledge* found = nullptr;
  std::set<std::string> names;
  for (const RunningLauncher& launcher : observation.launchers) {
    for (const ItemKnowledge& item : launcher.known.items) {
      if (item.has_name) names.insert(item.name);
      if (!IsCalled(item, name) || (found != nullptr && RankOf(*found) <= RankOf(item))) continue;
      found = &item;
      found_launcher = &launcher;
    }
  }
  if (found != nullptr) return Say(DiagnoseItem(*found_launcher, *found, observation.now_ms), out);
  // The log may know it from an earlier list.
  for (const RunningLauncher& launcher : observation.launchers) {
    for (const LogRecord& record : ReadLog(launcher.log_folder).records) {
      if (record.name.empty()) continue;
      if (record.name != LoggedForm(name)) {
        names.insert(std::string(record.name));
        continue;
      }
      Diagnosis diagnosis;
      diagnosis.item = name;
      diagnosis.code = "list-changed";
      diagnosis.summary =
          ShownText(name) + " is not in the list that the launcher runs; the log knows it from earlier.";
      diagnosis.evidence.push_back({"list", ShownText(launcher.list_path)});
      diagnosis.evidence.push_back({"launcher.log", ShownText(record.message)});
      diagnosis.remedy.push_back("launcherctl history " + ShownText(ShellQuoted(name)));
      return Say(diagnosis, out);
    }
  }
  return SayUnknownName(name, names, out);
}

// --- Without a launcher

// The list that a launch agent starts this bundle's launcher with, or an empty text.
static std::string ListOfLaunchAgent(const std::string& launcher) {
  const std::string folder_path = GetHomePath() + "/Library/LaunchAgents/";
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(folder_path.c_str()), &closedir);
  if (folder == nullptr) return "";
  while (const dirent* entry = readdir(folder.get())) {
    const std::string name = entry->d_name;
    if (name.size() < 7 || name.substr(name.size() - 6) != ".plist") continue;
    const FileContent agent = ReadRegularFile(folder_path + name, size_t{256} * 1024);
    // ProgramArguments: the launcher's path, its name, the list.
    size_t position = agent.bytes.find("<string>" + launcher + "</string>");
    std::string text;
    for (int i = 0; i < 3 && position != std::string::npos; ++i) {
      const size_t start = position + 8;
      text = agent.bytes.substr(start, agent.bytes.find("</string>", start) - start);
      position = agent.bytes.find("<string>", start);
      if (i == 2 && !text.empty() && text[0] == '/') return text;
    }
  }
  return "";
}

static int WhyNoLauncher(const WhyOptions& options, const Observation& observation, Output& out) {
  NoLauncher known;
  known.bundle = OwnBundle();
  known.now_ms = observation.now_ms;
  known.leftovers = observation.leftovers;
  known.library = known.bundle + "/Contents/Frameworks/" LIBLOGGER_FILE;
  known.library_is_there = access(known.library.c_str(), R_OK) == 0;
  known.list_path = options.list_path;
  if (known.list_path.empty()) {
    known.list_is_guessed = true;
    for (const Process& process : observation.table.processes) {
      if (!IsLauncherPath(process.executable) || process.arguments.size() < 3) continue;
      const std::string& list = process.arguments[2];
      known.list_path = list.empty() || list[0] == '/' ? list : process.working_folder + "/" + list;
    }
    if (known.list_path.empty()) known.list_path = ListOfLaunchAgent(known.bundle + "/Contents/MacOS/launcher");
  }
  std::set<std::string> names;
  if (!known.list_path.empty()) {
    const LaunchList list = ReadLaunchList(known.list_path);
    known.findings = CheckList(list);
    for (const LaunchListItem& item : list.items) {
      if (item.name) names.insert(*item.name);
    }
  }
  const Settings settings = SettingsOf(known.bundle);
  known.findings.insert(known.findings.end(), settings.findings.begin(), settings.findings.end());
  const Log log = ReadLog(LogFolderOf(settings.sdk_name));
  known.log = &log;
  known.log_path = log.folder + "/launcher.log";
  Diagnosis diagnosis = DiagnoseNoLauncher(known);
  if (options.has_name) {
    bool is_known = names.count(options.name) > 0;
    for (const LogRecord& record : log.records) {
      if (record.name.empty()) continue;
      is_known = is_known || record.name == LoggedForm(options.name);
      names.insert(std::string(record.name));
    }
    if (!is_known) return SayUnknownName(options.name, names, out);
    diagnosis.item = options.name;
  }
  return Say(diagnosis, out);
}

int RunWhy(const WhyOptions& options, Output& out) {
  WhichLaunchers which = options.which;
  which.known_list = options.list_path;
  const Observation observation = Observe(which);
  if (observation.launchers.empty()) return WhyNoLauncher(options, observation, out);
  if (options.has_name) return WhyItem(options.name, observation, out);
  std::optional<Diagnosis> worst;
  for (const RunningLauncher& launcher : observation.launchers) {
    Diagnosis diagnosis = DiagnoseLauncher(launcher, observation.now_ms);
    if (!worst || (IsWell(*worst) && !IsWell(diagnosis))) worst = std::move(diagnosis);
  }
  if (!observation.leftovers.empty()) {
    std::string pids;
    for (const Leftover& leftover : observation.leftovers) pids += " " + std::to_string(leftover.pid);
    worst->evidence.push_back({"left behind", "by a launcher that is gone:" + pids});
  }
  return Say(*worst, out);
}
