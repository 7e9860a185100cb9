#include "launcherctl/check_verb.h"

#include <algorithm>
#include <iterator>
#include <set>

#include "common/settings/paths.h"
#include "launcherctl/check_list.h"
#include "launcherctl/check_settings.h"
#include "launcherctl/escape.h"
#include "launcherctl/exit_status.h"
#include "launcherctl/findings_output.h"
#include "launcherctl/json_parts.h"
#include "launcherctl/launch_list_reader.h"
#include "launcherctl/launchers.h"

namespace {

struct Checked {
  std::vector<Finding> findings;
  size_t lists = 0;
  size_t items = 0;  // That the launcher would start.
  bool has_settings = false;
};

}  // namespace

static void Append(std::vector<Finding> more, std::vector<Finding>& findings) {
  findings.insert(findings.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

static void AddList(const LaunchList& list, Checked& checked) {
  Append(CheckList(list), checked.findings);
  ++checked.lists;
  checked.items += list.SupervisedItems().size();
}

static void AddSettings(const Settings& settings, Checked& checked) {
  Append(settings.findings, checked.findings);
  checked.has_settings = true;
}

static Settings OwnSettings() { return ReadSettings(GetResourcePath(), GetAppDataPath("")); }

static void CheckNamedLists(const CheckOptions& options, Checked& checked) {
  const std::set<std::string> lists(options.lists.begin(), options.lists.end());
  for (const std::string& list : lists) AddList(ReadLaunchList(list), checked);
  if (!options.without_settings) AddSettings(OwnSettings(), checked);
}

// Each list and each bundle's settings once, however many launchers have them.
static void CheckListsInUse(const CheckOptions& options, Checked& checked) {
  WhichLaunchers all;
  all.with_findings = false;
  std::set<std::string> lists;
  std::set<std::string> bundles;
  for (const RunningLauncher& launcher : Observe(all).launchers) {
    if (lists.insert(launcher.list_path).second) AddList(launcher.list, checked);
    if (!options.without_settings && bundles.insert(launcher.bundle).second) AddSettings(launcher.settings, checked);
  }
  if (lists.empty() && !options.without_settings) AddSettings(OwnSettings(), checked);
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
  std::string what = "the settings";
  if (checked.lists > 0) {
    what = Plural(checked.lists, "list") + " with " + Plural(checked.items, "item") +
           (checked.has_settings ? ", and the settings" : "");
  } else if (!checked.has_settings) {
    return;
  }
  if (NeedsAPerson(checked.findings)) {
    out.Write(CountsInWords(counts) + " in " + what + "\n");
  } else {
    out.Write(out.Colored(Output::Color::kGreen, "All is well") + ": " + what +
              (counts.notes > 0 ? "; " + CountsInWords(counts) : "") + "\n");
  }
}

int RunCheck(const CheckOptions& options, Output& out) {
  Checked checked;
  if (options.lists.empty()) {
    CheckListsInUse(options, checked);
  } else {
    CheckNamedLists(options, checked);
  }
  SortFindings(checked.findings);
  Write(checked, options.all, out);
  if (checked.lists == 0) {
    out.Error("no launcher is running; name the list that is to be checked");
    return kNoLauncherRuns;
  }
  return NeedsAPerson(checked.findings) ? kAnswerIsBad : kAllIsWell;
}
