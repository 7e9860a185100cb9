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
