#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>

#include "launcherctl/processes.h"

// Empty where it can't be read. A file of /proc has no size, so it is read to its end.
static std::string ReadAll(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file < 0) return "";
  std::string text;
  std::array<char, 16384> piece;
  constexpr size_t kMostBytes = size_t{4} * 1024 * 1024;
  while (text.size() < kMostBytes) {
    const ssize_t count = read(file, piece.data(), piece.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    text.append(piece.data(), static_cast<size_t>(count));
    // The kernel hands out a page or so at a time; less is all there is, and half of the calls are saved.
    constexpr ssize_t kSurelyAll = 2048;
    if (count < kSurelyAll) break;
  }
  (void)close(file);
  return text;
}

static std::string LinkTarget(const std::string& path) {
  std::array<char, 4096> target;
  const ssize_t length = readlink(path.c_str(), target.data(), target.size());
  return length > 0 ? std::string(target.data(), static_cast<size_t>(length)) : "";
}

// The names in a folder that are numbers, ascending.
static std::vector<int32_t> NumbersIn(const std::string& path) {
  std::vector<int32_t> numbers;
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(path.c_str()), &closedir);
  if (folder == nullptr) return numbers;
  while (const dirent* entry = readdir(folder.get())) {
    if (entry->d_name[0] >= '0' && entry->d_name[0] <= '9') numbers.push_back(atoi(entry->d_name));
  }
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

// --- Times: the kernel counts from the boot, in ticks.

static int64_t MsOf(clockid_t clock) {
  timespec time = {};
  (void)clock_gettime(clock, &time);
  return static_cast<int64_t>(time.tv_sec) * 1000 + time.tv_nsec / 1000000;
}

static int64_t TicksToMs(int64_t ticks) {
  static const int64_t boot_ms = MsOf(CLOCK_REALTIME) - MsOf(CLOCK_BOOTTIME);
  static const int64_t ticks_per_second = sysconf(_SC_CLK_TCK);
  return boot_ms + ticks * 1000 / ticks_per_second;
}

// --- stat

struct StatLine {
  char state = '?';
  int32_t parent = 0;
  int32_t group = 0;
  int64_t start_ticks = 0;
};

// The second column is a name in parentheses, which may hold anything: what counts stands behind the last one.
static bool ReadStat(const std::string& path, StatLine& line) {
  const std::string text = ReadAll(path);
  const size_t name_end = text.rfind(')');
  if (name_end == std::string::npos) return false;
  const char* position = text.c_str() + name_end + 1;
  constexpr int kStartColumn = 22;
  for (int column = 3; column <= kStartColumn; ++column) {
    while (*position == ' ') ++position;
    if (*position == '\0') return false;
    if (column == 3) line.state = *position;
    if (column == 4) line.parent = atoi(position);
    if (column == 5) line.group = atoi(position);
    if (column == kStartColumn) line.start_ticks = atoll(position);
    while (*position != ' ' && *position != '\0') ++position;
  }
  return true;
}

// --- A closer look at launchers

// The signal set behind `name` in the text of a status file.
static uint64_t SignalSet(const std::string& status, const char* name) {
  const size_t found = status.find(name);
  return found == std::string::npos ? 0 : strtoull(status.c_str() + found + strlen(name), nullptr, 16);
}

static void ReadSignals(const std::string& folder, Process& process) {
  const std::string status = ReadAll(folder + "/status");
  if (status.find("\nSigCgt:") == std::string::npos) return;
  constexpr uint64_t kSigterm = uint64_t{1} << (SIGTERM - 1);
  if ((SignalSet(status, "\nSigCgt:") & kSigterm) != 0) {
    process.sigterm = SigtermAction::kCaught;
  } else if ((SignalSet(status, "\nSigIgn:") & kSigterm) != 0) {
    process.sigterm = SigtermAction::kIgnored;
  } else {
    process.sigterm = SigtermAction::kDefault;
  }
  process.is_sigterm_blocked = (SignalSet(status, "\nSigBlk:") & kSigterm) != 0;
}

static void ReadThreads(const std::string& folder, Process& process) {
  // A process that has forked nothing has an empty file; a kernel without this has none.
  const bool children_are_told =
      access((folder + "/task/" + std::to_string(process.pid) + "/children").c_str(), R_OK) == 0;
  for (const int32_t id : NumbersIn(folder + "/task")) {
    const std::string task = folder + "/task/" + std::to_string(id);
    StatLine stat;
    if (!ReadStat(task + "/stat", stat)) continue;
    ProcessThread thread;
    thread.id = static_cast<uint64_t>(id);
    thread.started_ms = TicksToMs(stat.start_ticks);
    if (children_are_told) {
      thread.children.emplace();
      const std::string children = ReadAll(task + "/children");
      for (const char* position = children.c_str(); *position != '\0';) {
        char* end = nullptr;
        const long child = strtol(position, &end, 10);
        if (end == position) break;
        thread.children->push_back(static_cast<int32_t>(child));
        position = end;
        while (*position == ' ') ++position;
      }
    }
    process.threads.push_back(std::move(thread));
  }
  // Numbers begin anew when they have run out, so the start comes first.
  std::stable_sort(process.threads.begin(), process.threads.end(), [&](const ProcessThread& a, const ProcessThread& b) {
    const bool a_is_main = a.id == static_cast<uint64_t>(process.pid);
    const bool b_is_main = b.id == static_cast<uint64_t>(process.pid);
    if (a_is_main != b_is_main) return a_is_main;
    return a.started_ms < b.started_ms;
  });
}

static void ReadOpenLog(const std::string& folder, Process& process) {
  if (access((folder + "/fd").c_str(), R_OK | X_OK) != 0) return;
  process.open_log_folder.emplace();
  for (const int32_t descriptor : NumbersIn(folder + "/fd")) {
    const std::string target = LinkTarget(folder + "/fd/" + std::to_string(descriptor));
    const size_t name = target.rfind("/launcher.log");
    if (name != std::string::npos && target.find('/', name + 1) == std::string::npos) {
      process.open_log_folder = target.substr(0, name);
    }
  }
}

static void LookCloser(const std::string& folder, Process& process) {
  ReadSignals(folder, process);
  ReadThreads(folder, process);
  ReadOpenLog(folder, process);
  process.working_folder = LinkTarget(folder + "/cwd");
}

// --- The table

static std::optional<Process> ReadFrom(const std::string& folder, int32_t pid) {
  StatLine stat;
  if (!ReadStat(folder + "/stat", stat)) return std::nullopt;
  Process process;
  process.pid = pid;
  process.parent = stat.parent;
  process.group = stat.group;
  process.started_ms = TicksToMs(stat.start_ticks);
  process.start_mark = stat.start_ticks;
  process.is_zombie = stat.state == 'Z' || stat.state == 'X';
  process.is_sleeping = stat.state == 'S';
  process.executable = LinkTarget(folder + "/exe");
  // An executable that was replaced by an update runs on.
  static const std::string kDeleted = " (deleted)";
  if (process.executable.size() > kDeleted.size() &&
      process.executable.compare(process.executable.size() - kDeleted.size(), kDeleted.size(), kDeleted) == 0 &&
      access(process.executable.c_str(), F_OK) != 0) {
    process.executable.resize(process.executable.size() - kDeleted.size());
  }
  const std::string command = ReadAll(folder + "/cmdline");
  for (size_t start = 0; start < command.size();) {
    const size_t end = std::min(command.find('\0', start), command.size());
    process.arguments.push_back(command.substr(start, end - start));
    start = end + 1;
  }
  if (IsLauncherPath(process.executable) && !process.is_zombie) LookCloser(folder, process);
  return process;
}

std::optional<Process> ReadProcess(int32_t pid) { return ReadFrom("/proc/" + std::to_string(pid), pid); }

ProcessTable ReadProcesses() {
  ProcessTable table;
  table.read_ms = MsOf(CLOCK_REALTIME);
  const uid_t user = getuid();
  for (const int32_t pid : NumbersIn("/proc")) {
    const std::string folder = "/proc/" + std::to_string(pid);
    struct stat status = {};
    if (stat(folder.c_str(), &status) != 0 || status.st_uid != user) continue;
    if (auto process = ReadFrom(folder, pid)) table.processes.push_back(std::move(*process));
  }
  return table;
}
