#include <libproc.h>
#include <sys/proc_info.h>
#include <sys/sysctl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <ctime>

#include "launcherctl/processes.h"

// Here a thread's children are not known; whoever asks matches children to items by their commands.

static std::vector<std::string> ReadArguments(int32_t pid) {
  int limit_name[] = {CTL_KERN, KERN_ARGMAX};
  int most_bytes = 0;
  size_t size = sizeof(most_bytes);
  if (sysctl(limit_name, 2, &most_bytes, &size, nullptr, 0) != 0 || most_bytes <= 0) return {};
  std::vector<char> bytes(static_cast<size_t>(most_bytes));
  int name[] = {CTL_KERN, KERN_PROCARGS2, pid};
  size = bytes.size();
  if (sysctl(name, 3, bytes.data(), &size, nullptr, 0) != 0 || size < sizeof(int)) return {};
  // The number of arguments, the executable's path, padding of NUL bytes, the arguments, the environment.
  int count = 0;
  memcpy(&count, bytes.data(), sizeof(count));
  const char* position = bytes.data() + sizeof(count);
  const char* const end = bytes.data() + size;
  position = std::find(position, end, '\0');
  position = std::find_if(position, end, [](char c) { return c != '\0'; });
  std::vector<std::string> arguments;
  while (count-- > 0 && position < end) {
    const char* const stop = std::find(position, end, '\0');
    arguments.emplace_back(position, stop);
    position = stop < end ? stop + 1 : end;
  }
  return arguments;
}

static void ReadSignals(Process& process) {
  kinfo_proc info = {};
  int name[] = {CTL_KERN, KERN_PROC, KERN_PROC_PID, process.pid};
  size_t size = sizeof(info);
  if (sysctl(name, 4, &info, &size, nullptr, 0) != 0 || size == 0) return;
  const sigset_t sigterm = sigmask(SIGTERM);
  if ((info.kp_proc.p_sigcatch & sigterm) != 0) {
    process.sigterm = SigtermAction::kCaught;
  } else if ((info.kp_proc.p_sigignore & sigterm) != 0) {
    process.sigterm = SigtermAction::kIgnored;
  } else {
    process.sigterm = SigtermAction::kDefault;
  }
}

// Thread ids only grow, so their order is the order of birth.
static void ReadThreads(Process& process) {
  constexpr int kListThreadIds = 28;  // PROC_PIDLISTTHREADIDS, which older headers keep to themselves.
  std::vector<uint64_t> ids(64);
  for (;;) {
    const int room = static_cast<int>(ids.size() * sizeof(uint64_t));
    const int filled = proc_pidinfo(process.pid, kListThreadIds, 0, ids.data(), room);
    if (filled <= 0) return;
    if (filled < room) {
      ids.resize(static_cast<size_t>(filled) / sizeof(uint64_t));
      break;
    }
    ids.resize(ids.size() * 2);
  }
  std::sort(ids.begin(), ids.end());
  for (const uint64_t id : ids) {
    ProcessThread thread;
    thread.id = id;
    process.threads.push_back(std::move(thread));
  }
}

static void ReadOpenLog(Process& process) {
  const int bytes = proc_pidinfo(process.pid, PROC_PIDLISTFDS, 0, nullptr, 0);
  if (bytes <= 0) return;
  std::vector<proc_fdinfo> descriptors(static_cast<size_t>(bytes) / sizeof(proc_fdinfo) + 16);
  const int filled = proc_pidinfo(process.pid, PROC_PIDLISTFDS, 0, descriptors.data(),
                                  static_cast<int>(descriptors.size() * sizeof(proc_fdinfo)));
  if (filled < 0) return;
  process.open_log_folder.emplace();
  descriptors.resize(static_cast<size_t>(filled) / sizeof(proc_fdinfo));
  for (const proc_fdinfo& descriptor : descriptors) {
    vnode_fdinfowithpath file = {};
    if (descriptor.proc_fdtype != PROX_FDTYPE_VNODE ||
        proc_pidfdinfo(process.pid, descriptor.proc_fd, PROC_PIDFDVNODEPATHINFO, &file, sizeof(file)) <= 0) {
      continue;
    }
    const std::string path = file.pvip.vip_path;
    const size_t name = path.rfind("/launcher.log");
    if (name != std::string::npos && path.find('/', name + 1) == std::string::npos) {
      process.open_log_folder = path.substr(0, name);
    }
  }
}

static void ReadWorkingFolder(Process& process) {
  proc_vnodepathinfo paths = {};
  if (proc_pidinfo(process.pid, PROC_PIDVNODEPATHINFO, 0, &paths, sizeof(paths)) > 0) {
    process.working_folder = paths.pvi_cdir.vip_path;
  }
}

std::optional<Process> ReadProcess(int32_t pid) {
  proc_bsdinfo info = {};
  if (proc_pidinfo(pid, PROC_PIDTBSDINFO, 0, &info, sizeof(info)) <= 0) return std::nullopt;
  Process process;
  process.pid = pid;
  process.parent = static_cast<int32_t>(info.pbi_ppid);
  process.group = static_cast<int32_t>(info.pbi_pgid);
  process.start_mark = static_cast<int64_t>(info.pbi_start_tvsec * 1000000 + info.pbi_start_tvusec);
  process.started_ms = process.start_mark / 1000;
  constexpr uint32_t kZombie = 5;  // SZOMB
  process.is_zombie = info.pbi_status == kZombie;
  // The state of a process says nothing here; it is its threads that wait. Whoever looks twice has to be content with
  // finding it unchanged.
  process.is_sleeping = true;
  char path[PROC_PIDPATHINFO_MAXSIZE] = {};
  if (proc_pidpath(pid, path, sizeof(path)) > 0) process.executable = path;
  process.arguments = ReadArguments(pid);
  if (IsLauncherPath(process.executable) && !process.is_zombie) {
    ReadSignals(process);
    ReadThreads(process);
    ReadOpenLog(process);
    ReadWorkingFolder(process);
  }
  return process;
}

ProcessTable ReadProcesses() {
  timespec now = {};
  (void)clock_gettime(CLOCK_REALTIME, &now);
  ProcessTable table;
  table.read_ms = static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
  const uint32_t user = getuid();
  std::vector<pid_t> pids(1024);
  for (;;) {
    const int room = static_cast<int>(pids.size() * sizeof(pid_t));
    const int filled = proc_listpids(PROC_RUID_ONLY, user, pids.data(), room);
    if (filled < room) {
      pids.resize(filled > 0 ? static_cast<size_t>(filled) / sizeof(pid_t) : 0);
      break;
    }
    pids.resize(pids.size() * 2);
  }
  std::sort(pids.begin(), pids.end());
  for (const pid_t pid : pids) {
    if (pid <= 0) continue;
    if (auto process = ReadProcess(pid)) table.processes.push_back(std::move(*process));
  }
  return table;
}
