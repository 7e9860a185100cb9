#include "launcher/child_proc.h"

#include <alloca.h>
#include <pthread.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <system_error>

#include "common/logging/log.h"
#include "common/system/process.h"

// This file lives under fork's rule: in the forked child only the forking thread exists, and a lock that another thread
// held stays locked for ever. So nothing after `fork` initialises a function-local static, uses stdio or asks for the
// time zone; the heap and the logger are made for forks.

// --- What a program is to find as this process found it. Taken before `main`, and constant from then on.

static sigset_t CurrentSignalMask() {
  sigset_t mask;
  (void)pthread_sigmask(SIG_SETMASK, nullptr, &mask);
  return mask;
}

static const sigset_t g_initial_signal_mask = CurrentSignalMask();

// --- How many arguments fit the array on the supervising thread's stack.

static size_t MostArguments() {
  constexpr size_t kSmallestThreadStack = size_t{512} * 1024;
  size_t stack_bytes = kSmallestThreadStack;
  pthread_attr_t defaults;
  if (pthread_attr_init(&defaults) == 0) {
    (void)pthread_attr_getstacksize(&defaults, &stack_bytes);
    (void)pthread_attr_destroy(&defaults);
  }
  return stack_bytes / 4 / sizeof(char*);
}

static const size_t g_most_arguments = MostArguments();

// --- The end of a forked child.
//
// When the loop ends in a forked child, its thread function returns, and as that was the child's last thread, the C
// library calls `exit(0)`. Static destruction must not happen there: the child's copy of `g_child_map` would send
// SIGKILL to its siblings and, by its own entry's stored 0, to the launcher's whole process group; and the copy of a
// condition variable that `main` waits on would never be destroyed. So whoever constructs a supervisor has this
// handler, registered after every global's destructor and so called before them, end the child instead.

static bool g_is_forked_child = false;

static void EndForkedChildBeforeStaticDestruction() {
  if (g_is_forked_child) _exit(0);
}

static void RegisterEndOfForkedChildren() {
  static const int registered = atexit(&EndForkedChildBeforeStaticDestruction);
  (void)registered;  // It can't fail for the first 32 handlers.
}

// --- Signals

// Blocks SIGTERM on the constructing thread while it exists, so that a thread created meanwhile is born with it
// blocked. The handler joins the supervising threads; it must not run on one of them.
class SigtermBlocked {
 public:
  SigtermBlocked() {
    sigset_t sigterm;
    (void)sigemptyset(&sigterm);
    (void)sigaddset(&sigterm, SIGTERM);
    (void)pthread_sigmask(SIG_BLOCK, &sigterm, &previous);
  }
  ~SigtermBlocked() { (void)pthread_sigmask(SIG_SETMASK, &previous, nullptr); }
  SigtermBlocked(const SigtermBlocked&) = delete;
  SigtermBlocked& operator=(const SigtermBlocked&) = delete;

 private:
  sigset_t previous;
};

// The child's first act. The order matters: until SIGTERM has its default action, it must stay blocked, or the
// launcher's handler would run in the child and kill the siblings.
static void LeaveTheLaunchersSignalsBehind() {
  (void)signal(SIGTERM, SIG_DFL);
  for (int number = 1; number < NSIG; ++number) (void)signal(number, SIG_DFL);
  (void)pthread_sigmask(SIG_SETMASK, &g_initial_signal_mask, nullptr);
  g_is_forked_child = true;
}

// --- The supervisor

ChildProc::ChildProc(std::string launcher, JsonObject supervised_item) {
  item = supervised_item;  // An owning document holding null takes a deep copy, even of a view.
  launcher_name = std::move(launcher);
  name = std::string(item["name"]);
  RegisterEndOfForkedChildren();
  try {
    const SigtermBlocked born_with_sigterm_blocked;
    thread = std::make_shared<std::thread>([this] { Supervise(); });
  } catch (const std::system_error& error) {
    // The standard libraries' own texts differ.
    throw std::system_error(error.code(), "thread constructor failed");
  }
  // Destroyed before its first fork has returned, a supervisor would hand its pid of 0, the launcher's own process
  // group, to `kill`.
  while (running && pid == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

ChildProc::~ChildProc() {
  (void)Stop();
  if (thread != nullptr && thread->joinable()) thread->join();
}

// The flag is cleared before the pid is read; a supervisor writes its pid before it reads the flag again. With a fence
// on both sides one of the two sees the other's: a child that is being forked during a stop is killed by either.
int ChildProc::Stop() {
  running = false;
  std::atomic_thread_fence(std::memory_order_seq_cst);
  return kill(pid, SIGKILL);
}

void ChildProc::Supervise() {
  const pid_t launcher_pid = getpid();
  for (int run = 1; running; ++run) {
    const std::string program = item["program"];
    __LOG__A(logger, LOGLEVEL_DEBUG, "[LAUNCHER  ] Start to fork %s", name.c_str());
    pid = fork();
    if (pid < 0) {
      __LOG__A(logger, LOGLEVEL_ERROR, "[LAUNCHER  ] Failed to fork %s", name.c_str());
      break;
    }
    if (pid == 0) {
      LeaveTheLaunchersSignalsBehind();
      if (program.empty()) {
        __LOG__A(logger, LOGLEVEL_ERROR, "[LAUNCHER  ] program path of %s is empty", name.c_str());
        break;
      }
      Execute(program);  // Back only when it failed; the child then goes on as a second supervisor.
    } else {
      WaitAndLogEnd();
    }
    std::this_thread::sleep_for(std::chrono::seconds(run));
    if (RunsOnce()) break;
    // A second supervisor has nobody to stop it, so it ends when the launcher has.
    if (g_is_forked_child && !IsRunningPID(launcher_pid)) break;
  }
  running = false;
}

void ChildProc::WaitAndLogEnd() {
  // A stop between the look at `running` and the return of `fork` has signalled the child before this one; the other
  // side of this fence is in `Stop`.
  std::atomic_thread_fence(std::memory_order_seq_cst);
  if (!running) (void)kill(pid, SIGKILL);

  int status = 0;
  const pid_t reaped = waitpid(pid, &status, 0);
  __LOG__A(logger, LOGLEVEL_ERROR, "[LAUNCHER  ] %s %d is killed. ret = %d, status = %d", name.c_str(), pid, reaped,
           status);
}

// Runs in the forked child.
void ChildProc::Execute(std::string program) {
  size_t entries = 1;  // argv[0], and the arguments after it.
  if (item.HasObject("argc")) {
    const int arguments = item["argc"];
    if (arguments > 0) entries += static_cast<size_t>(arguments);
  }
  if (entries > g_most_arguments) return;

  char** const argv = static_cast<char**>(alloca((entries + 1) * sizeof(char*)));
  argv[0] = program.data();
  for (size_t i = 1; i < entries; ++i) {
    const std::string argument = item["args"][std::to_string(i - 1).c_str()];
    argv[i] = strdup(argument.c_str());
  }
  argv[entries] = nullptr;
  // NOLINTNEXTLINE(clang-analyzer-unix.Malloc): the texts are freed below, through the array.
  (void)execv(program.c_str(), argv);

  for (size_t i = 1; i < entries; ++i) free(argv[i]);
}

bool ChildProc::RunsOnce() { return item.HasObject("run_once") && static_cast<bool>(item["run_once"]); }
