#include "launcherctl/program_platform.h"

#include <sys/utsname.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "common/strings/suffix.h"
#include "launcherctl/read_file.h"

const BinaryFormat::System kOwnSystem = BinaryFormat::System::kLinux;

std::vector<std::string> ExecutedProcessors() {
  struct utsname machine = {};
  (void)uname(&machine);
  const std::string_view name = machine.machine;
  if (name == "x86_64") return {"x86_64", "x32", "i386"};
  if (name == "aarch64") return {"arm64", "arm"};
  if (name.substr(0, 3) == "arm") return {"arm"};
  if (name.size() == 4 && name[0] == 'i' && name.substr(2) == "86") return {"i386"};
  return {};  // Unknown here: every processor's programs count as executed.
}

// --- Handlers: files of lines below /proc/sys/fs/binfmt_misc.

static std::string FromHex(const std::string& digits) {
  std::string bytes;
  for (size_t i = 0; i + 1 < digits.size(); i += 2) {
    bytes.push_back(static_cast<char>(strtol(digits.substr(i, 2).c_str(), nullptr, 16)));
  }
  return bytes;
}

static bool Matches(std::string_view head, size_t offset, const std::string& magic, const std::string& mask) {
  if (magic.empty() || offset > head.size() || head.size() - offset < magic.size()) return false;
  for (size_t i = 0; i < magic.size(); ++i) {
    const char bits = i < mask.size() ? mask[i] : '\xFF';
    if (((head[offset + i] ^ magic[i]) & bits) != 0) return false;
  }
  return true;
}

static bool IsHandledBy(const std::string& handler, const std::string& path, std::string_view head) {
  std::istringstream lines(handler);
  std::string line;
  if (!std::getline(lines, line) || line != "enabled") return false;
  size_t offset = 0;
  std::string magic;
  std::string mask;
  while (std::getline(lines, line)) {
    const size_t blank = line.find(' ');
    if (blank == std::string::npos) continue;
    const std::string key = line.substr(0, blank);
    const std::string value = line.substr(blank + 1);
    if (key == "extension" && ends_with(path, value)) return true;
    if (key == "offset") offset = strtoul(value.c_str(), nullptr, 10);
    if (key == "magic") magic = FromHex(value);
    if (key == "mask") mask = FromHex(value);
  }
  return Matches(head, offset, magic, mask);
}

bool HasForeignHandler(const std::string& path, std::string_view head) {
  constexpr size_t kMostHandlerBytes = 65536;
  std::error_code error;
  std::filesystem::directory_iterator entry("/proc/sys/fs/binfmt_misc", error);
  for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    if (name == "register" || name == "status") continue;
    if (IsHandledBy(ReadRegularFile(entry->path().string(), kMostHandlerBytes).bytes, path, head)) return true;
  }
  return false;
}
