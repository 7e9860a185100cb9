#include "launcherctl/program_platform.h"

#include <sys/utsname.h>

const BinaryFormat::System kOwnSystem = BinaryFormat::System::kMacos;

std::vector<std::string> ExecutedProcessors() {
  struct utsname machine = {};
  (void)uname(&machine);
  // A process that is translated itself is told that the machine is an x86_64; that one could not run arm64 programs,
  // but this one can. Whether translation is installed can't be asked.
  if (std::string_view(machine.machine) == "arm64") return {"arm64", "x86_64"};
  if (std::string_view(machine.version).find("ARM64") != std::string_view::npos) return {"arm64", "x86_64"};
  return {"x86_64"};
}

bool HasForeignHandler(const std::string&, std::string_view) { return false; }
