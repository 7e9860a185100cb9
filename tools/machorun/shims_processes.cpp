// Processes, their programs and limits, users, clocks, the system log, and the program's own image.

#include <dlfcn.h>
#include <errno.h>
#include <limits.h>
#include <pwd.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tools/machorun/darwin.h"
#include "tools/machorun/image.h"
#include "tools/machorun/shims.h"

// --- The running program

static char* g_program = nullptr;
static int g_argument_count = 0;
static char** g_arguments = nullptr;

void SetProgram(const std::string& path, int argc, char** argv) {
  // A relative path is taken from the folder that the process began in.
  char folder[PATH_MAX];
  const bool is_relative = path.empty() || path[0] != '/';
  const std::string prefix = is_relative && getcwd(folder, sizeof(folder)) != nullptr ? std::string(folder) + "/" : "";
  g_program = strdup((prefix + path).c_str());
  g_argument_count = argc;
  g_arguments = argv;
}

static int ExecutablePath(char* buffer, uint32_t* bytes) {
  const size_t needed = strlen(g_program) + 1;
  if (needed > *bytes) {
    *bytes = static_cast<uint32_t>(needed);
    return -1;
  }
  memcpy(buffer, g_program, needed);
  return 0;
}

static int* ArgumentCount() { return &g_argument_count; }
static char*** Arguments() { return &g_arguments; }
static char*** Environment() { return &environ; }

// --- Executing: a Mach-O program goes through this loader.

static int Execute(const char* path, char* const* arguments, char* const* environment) {
  // The kernel's own answer for what can't be executed, such as a folder.
  if (!IsMachO(path) || access(path, X_OK) != 0) return execve(path, arguments, environment);
  size_t count = 0;
  while (arguments[count] != nullptr) ++count;
  // Neither on the heap, since this may be a forked child of a process with threads, nor on its small stack.
  const size_t bytes = (count + 4) * sizeof(char*);
  void* const room = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (room == MAP_FAILED) return -1;
  auto** const through_loader = static_cast<const char**>(room);
  through_loader[0] = "machorun";
  through_loader[1] = "--exec";
  through_loader[2] = path;
  for (size_t i = 0; i <= count; ++i) through_loader[3 + i] = arguments[i];
  (void)execve("/proc/self/exe", const_cast<char* const*>(through_loader), environment);
  const int error = errno;
  (void)munmap(room, bytes);
  errno = error;
  return -1;
}

static int Execv(const char* path, char* const* arguments) { return Execute(path, arguments, environ); }

static int Execl(const char* path, const char* argument, ...) {
  constexpr size_t kMostArguments = 64;
  char* arguments[kMostArguments + 1] = {};
  va_list rest;
  va_start(rest, argument);
  size_t count = 0;
  for (const char* text = argument; text != nullptr && count < kMostArguments; text = va_arg(rest, const char*)) {
    arguments[count++] = const_cast<char*>(text);
  }
  va_end(rest);
  return Execute(path, arguments, environ);
}

// --- Waiting: the signal's number in a status is the system's own.

static int DarwinStatus(int status) {
  if (WIFSTOPPED(status)) return DarwinSignal(WSTOPSIG(status)) << 8 | (status & 0xff);
  if (!WIFSIGNALED(status)) return status;
  return (status & ~0x7f) | DarwinSignal(WTERMSIG(status));
}

static pid_t WaitPid(pid_t process, int* status, int options) {
  int host_status = 0;
  const pid_t result = waitpid(process, &host_status, options);  // WNOHANG and WUNTRACED are the same.
  if (result > 0 && status != nullptr) *status = DarwinStatus(host_status);
  return result;
}

static int WaitId(int kind, uint32_t id, DarwinSiginfo* info, int options) {
  int host_options = 0;
  if ((options & kDarwinWaitNoHang) != 0) host_options |= WNOHANG;
  if ((options & kDarwinWaitExited) != 0) host_options |= WEXITED;
  if ((options & kDarwinWaitStopped) != 0) host_options |= WSTOPPED;
  if ((options & kDarwinWaitContinued) != 0) host_options |= WCONTINUED;
  if ((options & kDarwinWaitNoReap) != 0) host_options |= WNOWAIT;
  siginfo_t host = {};
  if (waitid(static_cast<idtype_t>(kind), id, &host, host_options) != 0) return -1;
  *info = {};
  info->number = DarwinSignal(host.si_signo);
  info->code = host.si_code;
  info->process = host.si_pid;
  info->user = host.si_uid;
  info->status = host.si_code == CLD_EXITED ? host.si_status : DarwinSignal(host.si_status);
  return 0;
}

// --- Threads of a process: of the questions that can be asked, the two that tests ask.

static int AskOfProcess(int process, int question, uint64_t argument, void* answer, int bytes) {
  if (question == kDarwinListThreads && bytes >= static_cast<int>(sizeof(uint64_t))) {
    *static_cast<uint64_t*>(answer) = static_cast<uint64_t>(process);  // The main thread, which comes first.
    return sizeof(uint64_t);
  }
  if (question == kDarwinThreadInfo && bytes == static_cast<int>(sizeof(DarwinThreadInfo))) {
    char path[64];
    (void)snprintf(path, sizeof(path), "/proc/%d/task/%llu/stat", process, static_cast<unsigned long long>(argument));
    FILE* const file = fopen(path, "re");
    if (file == nullptr) return 0;
    char text[512] = {};
    const size_t count = fread(text, 1, sizeof(text) - 1, file);
    (void)fclose(file);
    const char* const name_end = count > 0 ? strrchr(text, ')') : nullptr;
    if (name_end == nullptr) return 0;
    auto* const info = static_cast<DarwinThreadInfo*>(answer);
    *info = {};
    info->run_state = name_end[2] == 'S' ? kDarwinThreadWaits : kDarwinThreadRuns;
    return sizeof(DarwinThreadInfo);
  }
  errno = ENOTSUP;
  return 0;
}

static int NameSystem(DarwinSystemName* name) {
  utsname host = {};
  if (uname(&host) != 0) return -1;
  *name = {};
  (void)snprintf(name->system, sizeof(name->system), "Darwin");
  (void)snprintf(name->node, sizeof(name->node), "%s", host.nodename);
  (void)snprintf(name->machine, sizeof(name->machine), "x86_64");
  return 0;
}

// --- Limits

static int HostLimit(int limit) {
  switch (limit) {
    case kDarwinLimitAddressSpace:
      return RLIMIT_AS;
    case kDarwinLimitLocked:
      return RLIMIT_MEMLOCK;
    case kDarwinLimitProcesses:
      return RLIMIT_NPROC;
    case kDarwinLimitFiles:
      return RLIMIT_NOFILE;
    default:
      return limit;  // Processor, file size, data, stack and core are the same.
  }
}

static uint64_t DarwinAmount(rlim_t amount) { return amount == RLIM_INFINITY ? kDarwinLimitInfinite : amount; }
static rlim_t HostAmount(uint64_t amount) { return amount == kDarwinLimitInfinite ? RLIM_INFINITY : amount; }

static int GetLimit(int limit, uint64_t* pair) {
  rlimit host = {};
  if (getrlimit(static_cast<__rlimit_resource>(HostLimit(limit)), &host) != 0) return -1;
  pair[0] = DarwinAmount(host.rlim_cur);
  pair[1] = DarwinAmount(host.rlim_max);
  return 0;
}

static int SetLimit(int limit, const uint64_t* pair) {
  const rlimit host = {HostAmount(pair[0]), HostAmount(pair[1])};
  return setrlimit(static_cast<__rlimit_resource>(HostLimit(limit)), &host);
}

static long Sysconf(int name) {
  switch (name) {
    case kDarwinSysconfArguments:
      return sysconf(_SC_ARG_MAX);
    case kDarwinSysconfFiles:
      return sysconf(_SC_OPEN_MAX);
    case kDarwinSysconfPageSize:
      return sysconf(_SC_PAGESIZE);
    case kDarwinSysconfProcessors:
      return sysconf(_SC_NPROCESSORS_ONLN);
    case kDarwinSysconfPasswd:
      return sysconf(_SC_GETPW_R_SIZE_MAX);
    default:
      errno = EINVAL;
      return -1;
  }
}

// --- Users

static DarwinPasswd* DarwinUser(const passwd* host) {
  static DarwinPasswd user;
  static char no_class[] = "";
  if (host == nullptr) return nullptr;
  user = {host->pw_name, host->pw_passwd, host->pw_uid, host->pw_gid,   0,
          no_class,      host->pw_gecos,  host->pw_dir, host->pw_shell, 0};
  return &user;
}

static DarwinPasswd* UserByNumber(uid_t number) { return DarwinUser(getpwuid(number)); }
static DarwinPasswd* UserByName(const char* name) { return DarwinUser(getpwnam(name)); }

// --- Clocks

static int GetClock(int clock, timespec* time) {
  switch (clock) {
    case kDarwinClockRealtime:
      return clock_gettime(CLOCK_REALTIME, time);
    case kDarwinClockMonotonic:
    case kDarwinClockMonotonicRaw:
    case kDarwinClockUptimeRaw:
      return clock_gettime(CLOCK_MONOTONIC, time);
    case kDarwinClockProcess:
      return clock_gettime(CLOCK_PROCESS_CPUTIME_ID, time);
    case kDarwinClockThread:
      return clock_gettime(CLOCK_THREAD_CPUTIME_ID, time);
    default:
      errno = EINVAL;
      return -1;
  }
}

// --- The program's own symbols

// What `dlsym` is asked for here: a later definition than the program's own, which is the system's.
static void* FindSymbol(void* where, const char* name) {
  constexpr intptr_t kNext = -1;
  const std::string symbol = std::string("_") + name;
  void* const own = reinterpret_cast<intptr_t>(where) == kNext ? nullptr : FindExport(symbol);
  return own != nullptr ? own : SystemSymbol(symbol, true);
}

// There is no system to load a library of.
static void* LoadLibrary(const char*, int) { return nullptr; }

static int AtExit(void (*routine)()) { return atexit(routine); }

static void DyldStubBinder() { abort(); }  // Nothing is bound lazily here.

static uintptr_t g_stack_guard = 0x7a5f1e00c3d2b100;

template <typename Function>
static void* Address(Function* function) {
  return reinterpret_cast<void*>(function);
}

const Shim* ProcessShims() {
  static const Shim shims[] = {
      {"__NSGetExecutablePath", Address(&ExecutablePath)},
      {"__NSGetArgc", Address(&ArgumentCount)},
      {"__NSGetArgv", Address(&Arguments)},
      {"__NSGetEnviron", Address(&Environment)},
      {"_execv", Address(&Execv)},
      {"_execve", Address(&Execute)},
      {"_execl", Address(&Execl)},
      {"_waitpid", Address(&WaitPid)},
      {"_waitid", Address(&WaitId)},
      {"_proc_pidinfo", Address(&AskOfProcess)},
      {"_uname", Address(&NameSystem)},
      {"_getrlimit", Address(&GetLimit)},
      {"_setrlimit", Address(&SetLimit)},
      {"_sysconf", Address(&Sysconf)},
      {"_getpwuid", Address(&UserByNumber)},
      {"_getpwnam", Address(&UserByName)},
      {"_clock_gettime", Address(&GetClock)},
      {"_popen", Address(&popen)},
      {"_syslog", Address(&syslog)},
      {"_syslog$DARWIN_EXTSN", Address(&syslog)},
      {"_dlopen", Address(&LoadLibrary)},
      {"_dlsym", Address(&FindSymbol)},
      {"_atexit", Address(&AtExit)},
      {"dyld_stub_binder", Address(&DyldStubBinder)},
      {"___stack_chk_guard", &g_stack_guard},
      {nullptr, nullptr},
  };
  return shims;
}
