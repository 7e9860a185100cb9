#include "launcherctl/leftovers.h"

#include <algorithm>
#include <set>
#include <unordered_map>

static bool IsLeftoverSupervisor(const Process& process, const std::vector<const Process*>& launchers) {
  if (!IsLauncherPath(process.executable) || process.is_zombie || process.sigterm != SigtermAction::kDefault)
    return false;
  return std::none_of(launchers.begin(), launchers.end(),
                      [&](const Process* launcher) { return launcher->pid == process.pid; });
}

std::vector<Leftover> FindLeftovers(const ProcessTable& table, const std::vector<const Process*>& launchers,
                                    const std::vector<int32_t>& gone_launchers, const std::vector<PlannedItem>& items) {
  std::set<int32_t> owned;  // Launchers, and all that descends from one.
  for (const Process* launcher : launchers) owned.insert(launcher->pid);
  std::unordered_map<int32_t, std::vector<const Process*>> children;
  for (const Process& process : table.processes) children[process.parent].push_back(&process);
  std::vector<int32_t> to_visit(owned.begin(), owned.end());
  while (!to_visit.empty()) {
    const int32_t pid = to_visit.back();
    to_visit.pop_back();
    for (const Process* child : children[pid]) {
      if (owned.insert(child->pid).second) to_visit.push_back(child->pid);
    }
  }
  const auto item_of = [&](const Process& process) -> std::optional<std::string> {
    for (const PlannedItem& item : items) {
      if (item.name && HasCommand(process, item.command)) return item.name;
    }
    return std::nullopt;
  };
  std::vector<Leftover> leftovers;
  std::set<int32_t> chains;
  for (const Process& process : table.processes) {
    if (owned.count(process.pid) > 0 || !IsLeftoverSupervisor(process, launchers)) continue;
    chains.insert(process.pid);
  }
  for (const Process& process : table.processes) {
    if (owned.count(process.pid) > 0 || process.is_zombie) continue;
    Leftover leftover;
    leftover.pid = process.pid;
    leftover.parent = process.parent;
    leftover.since_ms = process.started_ms;
    const bool leader_is_gone = process.group != process.pid && table.Find(process.group) == nullptr;
    const bool is_of_gone_launcher =
        std::find(gone_launchers.begin(), gone_launchers.end(), process.group) != gone_launchers.end();
    if (leader_is_gone && is_of_gone_launcher) leftover.launcher = process.group;
    if (chains.count(process.pid) > 0) {
      leftovers.push_back(leftover);
      continue;
    }
    leftover.is_program = true;
    leftover.item = item_of(process);
    const bool is_chains_program = chains.count(process.parent) > 0;
    // A launcher's programs stay in its process group, and lose their parent with it.
    const bool is_orphan = table.Find(process.parent) == nullptr || process.parent == 1 ||
                           (leader_is_gone && process.group != table.Find(process.parent)->group);
    // What a program has started itself stays in the group as well, and can't be told from one if no list is known.
    const bool may_be_program = items.empty() ? is_of_gone_launcher : leftover.item.has_value();
    const bool is_gone_launchers = is_orphan && leader_is_gone && may_be_program;
    if (is_chains_program || is_gone_launchers) leftovers.push_back(leftover);
  }
  return leftovers;
}
