#include "launcherctl/processes.h"

#include <algorithm>

static constexpr char kLauncherInBundle[] = "/Contents/MacOS/launcher";

const Process* ProcessTable::Find(int32_t pid) const {
  const auto found = std::lower_bound(processes.begin(), processes.end(), pid,
                                      [](const Process& process, int32_t number) { return process.pid < number; });
  return found != processes.end() && found->pid == pid ? &*found : nullptr;
}

std::vector<const Process*> ProcessTable::ChildrenOf(int32_t pid) const {
  std::vector<const Process*> children;
  for (const Process& process : processes) {
    if (process.parent == pid) children.push_back(&process);
  }
  return children;
}

bool IsLauncherPath(const std::string& executable) {
  constexpr size_t kBytes = sizeof(kLauncherInBundle) - 1;
  return executable.size() > kBytes && executable.compare(executable.size() - kBytes, kBytes, kLauncherInBundle) == 0;
}

std::string BundleOf(const std::string& executable) {
  return executable.substr(0, executable.size() - (sizeof(kLauncherInBundle) - 1));
}

bool IsSecondSupervisor(const Process& process, const Process& launcher) {
  // It pauses or waits, and so sleeps. A child that is becoming its program is busy.
  return process.executable == launcher.executable && process.arguments == launcher.arguments &&
         process.sigterm == SigtermAction::kDefault && process.is_sleeping && !process.is_zombie;
}

bool HasCommand(const Process& process, const std::vector<std::string>& command) {
  const std::vector<std::string>& arguments = process.arguments;
  return !command.empty() && arguments.size() >= command.size() &&
         std::equal(command.rbegin(), command.rend(), arguments.rbegin());
}
