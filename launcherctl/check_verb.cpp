#include "launcherctl/check_verb.h"

#include <algorithm>

#include "common/settings/paths.h"
#include "launcherctl/check_list.h"
#include "launcherctl/check_settings.h"
#include "launcherctl/escape.h"
#include "launcherctl/exit_status.h"
#include "launcherctl/findings_output.h"
#include "launcherctl/json_parts.h"
#include "launcherctl/launch_list_reader.h"

namespace {

struct Checked {
  std::vector<Finding> findings;
  size_t lists = 0;
  size_t items = 0;  // That the launcher would start.
  bool settings = false;
};

}  // namespace

static void Append(std::vector<Finding> more, std::vector<Finding>& findings) {
  findings.insert(findings.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

static void CheckOneList(const std::string& path, Checked& checked) {
  const LaunchList list = ReadLaunchList(path);
  Append(CheckList(list), checked.findings);
  ++checked.lists;
  checked.items += list.SupervisedItems().size();
}

static void CheckSettingsOf(const std::string& resource_folder, Checked& checked) {
  Append(ReadSettings(resource_folder, GetAppDataPath("")).findings, checked.findings);
  checked.settings = true;
}

static std::string Plural(size_t count, const std::string& word) {
  return std::to_string(count) + " " + word + (count == 1 ? "" : "s");
}

static void Write(const Checked& checked, bool all, Output& out) {
  const FindingCounts counts = CountFindings(checked.findings);
  if (out.json) {
    JsonObject answer = JsonObject::GetEmptyObject();
    answer.Insert("findings", ToJson(checked.findings));
    answer.Insert("errors", Number(counts.errors));
    answer.Insert("warnings", Number(counts.warnings));
    answer.Insert("notes", Number(counts.notes));
    out.WriteJson(answer);
    return;
  }
  WriteFindings(checked.findings, all, out);
  const std::string what = Plural(checked.lists, "list") + " with " + Plural(checked.items, "item") +
                           (checked.settings ? ", and the settings" : "");
  if (NeedsAPerson(checked.findings)) {
    out.Write(CountsInWords(counts) + " in " + what + "\n");
  } else {
    out.Write(out.Colored(Output::Color::kGreen, "All is well") + ": " + what +
              (counts.notes > 0 ? "; " + CountsInWords(counts) : "") + "\n");
  }
}

int RunCheck(const CheckOptions& options, Output& out) {
  Checked checked;
  std::vector<std::string> lists = options.lists;
  std::sort(lists.begin(), lists.end());
  lists.erase(std::unique(lists.begin(), lists.end()), lists.end());
  for (const std::string& list : lists) CheckOneList(list, checked);
  if (!options.without_settings) CheckSettingsOf(GetResourcePath(), checked);
  SortFindings(checked.findings);
  Write(checked, options.all, out);
  return NeedsAPerson(checked.findings) ? kAnswerIsBad : kAllIsWell;
}
