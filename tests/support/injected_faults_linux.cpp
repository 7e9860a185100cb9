// Preloaded into a launcher, makes the system fail or hurry where a test says so, by the variables of its environment:
//   INJECTED_REPORT=FILE         where to write what was seen, one line each, fields separated by blanks:
//                                  pause PROCESS THREAD NANOSECONDS    a thread went to sleep, unscaled
//                                  kill PROCESS TARGET SIGNAL          `kill` with a signal other than 0
//                                  allocations PROCESS NUMBER          at exit: how many were counted
//   INJECTED_TIME_DIVISOR=N      sleeps take an N-th of their time
//   INJECTED_PHASE=PHASE         what allocations are counted: `start` (all of the launcher's), `restart` (from the end
//                                of a child on), `stop` (from a SIGKILL on) or `child` (a forked child's)
//   INJECTED_TRIGGER=FILE        `restart` and `stop` begin when this file exists at the earliest
//   INJECTED_ALLOCATION=N        the N-th counted allocation fails
//   INJECTED_ALLOCATIONS_FROM=N  the N-th counted one and all after it fail
//   INJECTED_WAITPID=ERRNO       the first `waitpid` fails with this number
//
// A SIGKILL to 0 or to -1 is reported and not sent. Programs that the launcher starts are not touched.

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

#define EXPORTED extern "C" __attribute__((visibility("default")))

// The C library's own heap, below the names that this file takes.
extern "C" void* __libc_malloc(size_t size);
extern "C" void* __libc_calloc(size_t count, size_t size);
extern "C" void* __libc_realloc(void* block, size_t size);

static const char* g_report = nullptr;
static long g_time_divisor = 1;
static const char* g_phase = "";
static const char* g_trigger = "";
static long g_only = 0;
static long g_from = 0;
static std::atomic<int> g_waitpid_error(0);

static std::atomic<bool> g_counts(false);
static std::atomic<long> g_allocations(0);

static long NumberOf(const char* variable) {
  const char* const text = getenv(variable);
  return text != nullptr ? atol(text) : 0;
}

// Leaves `errno` alone.
static bool Begins(const char* phase) {
  if (strcmp(g_phase, phase) != 0) return false;
  const int saved_errno = errno;
  const bool is_triggered = access(g_trigger, F_OK) == 0;
  errno = saved_errno;
  return is_triggered;
}

static bool IsPhase(const char* phase) { return strcmp(g_phase, phase) == 0; }

__attribute__((format(printf, 1, 2))) static void Report(const char* format, ...) {
  if (g_report == nullptr) return;
  const int saved_errno = errno;
  char line[256];
  va_list arguments;
  va_start(arguments, format);
  const int length = vsnprintf(line, sizeof(line), format, arguments);
  va_end(arguments);
  const int low = open(g_report, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
  const int file = fcntl(low, F_DUPFD_CLOEXEC, 100);  // The low numbers are to be the launcher's own.
  (void)close(low);
  if (file >= 0) {
    (void)!write(file, line, static_cast<size_t>(length));
    (void)close(file);
  }
  errno = saved_errno;
}

__attribute__((constructor)) static void Begin() {
  g_report = getenv("INJECTED_REPORT");
  if (g_report != nullptr) g_report = strdup(g_report);
  const char* const phase = getenv("INJECTED_PHASE");
  if (phase != nullptr) g_phase = strdup(phase);
  const char* const trigger = getenv("INJECTED_TRIGGER");
  if (trigger != nullptr) g_trigger = strdup(trigger);
  const long divisor = NumberOf("INJECTED_TIME_DIVISOR");
  if (divisor > 0) g_time_divisor = divisor;
  g_only = NumberOf("INJECTED_ALLOCATION");
  g_from = NumberOf("INJECTED_ALLOCATIONS_FROM");
  g_waitpid_error = static_cast<int>(NumberOf("INJECTED_WAITPID"));
  (void)unsetenv("LD_PRELOAD");
  g_counts = IsPhase("start");
}

__attribute__((destructor)) static void End() {
  if (g_allocations > 0) Report("allocations %d %ld\n", getpid(), g_allocations.load());
}

static bool FailsNow() {
  if (!g_counts) return false;
  const long number = ++g_allocations;
  if (number != g_only && (g_from == 0 || number < g_from)) return false;
  errno = ENOMEM;
  return true;
}

EXPORTED void* malloc(size_t size) { return FailsNow() ? nullptr : __libc_malloc(size); }
EXPORTED void* calloc(size_t count, size_t size) { return FailsNow() ? nullptr : __libc_calloc(count, size); }
EXPORTED void* realloc(void* block, size_t size) { return FailsNow() ? nullptr : __libc_realloc(block, size); }

EXPORTED pid_t fork(void) {
  static const auto system_fork = reinterpret_cast<pid_t (*)()>(dlsym(RTLD_NEXT, "fork"));
  const pid_t pid = system_fork();
  if (pid == 0) g_counts = IsPhase("child");
  return pid;
}

EXPORTED pid_t waitpid(pid_t pid, int* status, int options) {
  const int error = g_waitpid_error.exchange(0);
  if (error != 0) {
    errno = error;
    return -1;
  }
  const auto ended = static_cast<pid_t>(syscall(SYS_wait4, pid, status, options, nullptr));
  if (Begins("restart")) g_counts = true;
  return ended;
}

EXPORTED int kill(pid_t pid, int number) {
  if (number != 0) Report("kill %d %d %d\n", getpid(), pid, number);
  if (number == SIGKILL && Begins("stop")) g_counts = true;
  if (number == SIGKILL && pid <= 0) return 0;
  return static_cast<int>(syscall(SYS_kill, pid, number));
}

EXPORTED int nanosleep(const timespec* asked, timespec* left) {
  const long long nanoseconds = asked->tv_sec * 1000000000LL + asked->tv_nsec;
  Report("pause %d %ld %lld\n", getpid(), syscall(SYS_gettid), nanoseconds);
  const long long scaled = nanoseconds / g_time_divisor;
  const timespec time = {static_cast<time_t>(scaled / 1000000000LL), static_cast<long>(scaled % 1000000000LL)};
  return static_cast<int>(syscall(SYS_nanosleep, &time, left));
}

EXPORTED int clock_nanosleep(clockid_t, int flags, const timespec* asked, timespec* left) {
  return flags == 0 && nanosleep(asked, left) != 0 ? errno : 0;
}
