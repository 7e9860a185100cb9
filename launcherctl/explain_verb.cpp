#include "launcherctl/explain_verb.h"

#include <cerrno>
#include <cstdlib>

#include "launcherctl/escape.h"
#include "launcherctl/exit_status.h"
#include "launcherctl/json_parts.h"
#include "launcherctl/wait_status.h"

static std::optional<int64_t> ReadNumber(const std::string& text) {
  if (text.empty() || text.find_first_not_of("-0123456789") != std::string::npos) return std::nullopt;
  char* end = nullptr;
  errno = 0;
  const long long number = strtoll(text.c_str(), &end, 10);
  if (errno != 0 || *end != '\0') return std::nullopt;
  return number;
}

// What tends to be behind a status, where that is known.
static std::string Hint(const WaitStatus& status) {
  constexpr int kShellMayNotRun = 126;
  constexpr int kShellDidNotFind = 127;
  if (!status.is_signal && status.number == kShellMayNotRun) return "a shell says so when it may not run the command";
  if (!status.is_signal && status.number == kShellDidNotFind)
    return "a shell says so when it does not find the command";
  if (status.is_signal && SignalName(status.number) == "SIGKILL") {
    return "the launcher sends it when it is stopped; otherwise somebody did, or the system was short of memory";
  }
  return "";
}

int RunExplain(const std::vector<std::string>& statuses, Output& out) {
  int exit_status = kAllIsWell;
  JsonObject explained = EmptyArray();
  for (const std::string& text : statuses) {
    const auto raw = ReadNumber(text);
    const auto status = raw ? ReadWaitStatus(*raw) : std::nullopt;
    if (!status) {
      exit_status = kNotAnswered;
      std::string why = "is not a wait status";
      if (raw && *raw == -1)
        why += "; behind \"ret = \" it says that the wait failed; the status beside it means nothing then";
      out.Error(Quoted(text) + " " + why);
      continue;
    }
    const std::string meaning = Meaning(*status);
    const std::string hint = Hint(*status);
    if (out.json) {
      JsonObject entry = JsonObject::GetEmptyObject();
      entry.Insert("status", Number(*raw));
      entry["kind"] = std::string(status->is_signal ? "signal" : "exit");
      entry.Insert("number", Number(status->number));
      entry.Insert("core", Truth(status->has_core));
      entry["meaning"] = meaning;
      entry.Insert("hint", hint.empty() ? Null() : Text(hint));
      explained.InsertArrayItem(entry);
    } else {
      std::string shown = std::to_string(*raw);
      while (shown.size() < 7) shown += ' ';
      out.Write(shown + meaning + (hint.empty() ? "" : ": " + hint) + "\n");
    }
  }
  if (out.json) {
    JsonObject answer = JsonObject::GetEmptyObject();
    answer.Insert("statuses", explained);
    out.WriteJson(answer);
  }
  return exit_status;
}
