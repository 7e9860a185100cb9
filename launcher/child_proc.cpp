#include "launcher/child_proc.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <new>
#include <system_error>

#include "common/logging/log.h"
#include "common/system/process.h"
#include "launcher/argument_vector.h"
#include "launcher/forked_child.h"
#include "launcher/gate.h"
#include "launcher/sigterm_mask.h"

// This file lives under fork's rule: in the forked child only the forking thread exists, and a lock that another thread
// held stays locked for ever. So nothing after `fork` initialises a function-local static, uses stdio or asks for the
// time zone; the heap and the logger are made for forks.

// The item's member as a T, or nothing where it can't be converted: then it is an error to ask for it, not to have it.
template <typename T>
static std::optional<T> ReadAhead(JsonObject& item, const char* member) {
  try {
    return static_cast<T>(item[member]);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (...) {
    return std::nullopt;
  }
}

ChildProc::ChildProc(std::string launcher, JsonObject supervised_item) {
  item = supervised_item;  // An owning document holding null takes a deep copy, even of a view.
  launcher_name = std::move(launcher);
  name = std::string(item["name"]);
  program = ReadAhead<std::string>(item, "program");
  runs_once = ReadAhead<bool>(item, "run_once");
  Gate first_fork;
  try {
    // The handler joins the supervising threads; it must not run on one of them.
    const SigtermBlocked born_with_sigterm_blocked;
    thread = std::make_shared<std::thread>([this, &first_fork] { Supervise(first_fork); });
  } catch (const std::system_error& error) {
    // The standard libraries' own texts differ.
    throw std::system_error(error.code(), "thread constructor failed");
  }
  // Destroyed before its first fork has returned, a supervisor would hand its pid of 0, the launcher's own process
  // group, to `kill`.
  first_fork.WaitUntilOpen();
}

ChildProc::~ChildProc() {
  (void)Stop();
  if (thread != nullptr && thread->joinable()) thread->join();
}

// A stop and a fork may happen at once; no child must survive both. This side clears the flag and then reads the pid,
// the supervisor writes the pid and then reads the flag, and each has a fence in between: so at least one of the two
// knows of the other, and kills the child.
int ChildProc::Stop() {
  running = false;
  std::atomic_thread_fence(std::memory_order_seq_cst);
  return kill(pid, SIGKILL);
}

void ChildProc::Supervise(Gate& first_fork) {
  const pid_t launcher_pid = getpid();
  for (int run = 1; running; ++run) {
    const std::string& path = Program();
    __LOG__A(logger, LOGLEVEL_DEBUG, "[LAUNCHER  ] Start to fork %s", name.c_str());
    pid = run == 1 ? fork() : ForkInTurn();
    // Only here: afterwards the gate is gone, and a forked child has nobody who waits.
    if (run == 1 && pid != 0) first_fork.Open();
    if (pid < 0) {
      __LOG__A(logger, LOGLEVEL_ERROR, "[LAUNCHER  ] Failed to fork %s", name.c_str());
      break;
    }
    if (pid == 0) {
      BeginForkedChild();
      if (path.empty()) {
        __LOG__A(logger, LOGLEVEL_ERROR, "[LAUNCHER  ] program path of %s is empty", name.c_str());
        break;
      }
      Execute();  // Back only when it failed; the child then goes on as a second supervisor.
    } else {
      WaitAndLogEnd();
    }
    std::this_thread::sleep_for(std::chrono::seconds(run));
    if (RunsOnce()) break;
    // A second supervisor has nobody to stop it, so it ends when the launcher has.
    if (IsForkedChild() && !IsRunningPID(launcher_pid)) break;
  }
  running = false;
  if (IsForkedChild()) EndForkedChild();
}

void ChildProc::WaitAndLogEnd() {
  // The other side of this fence is in `Stop`, which may have signalled the child before this one.
  std::atomic_thread_fence(std::memory_order_seq_cst);
  if (!running) (void)kill(pid, SIGKILL);

  int status = 0;
  const pid_t reaped = waitpid(pid, &status, 0);
  __LOG__A(logger, LOGLEVEL_ERROR, "[LAUNCHER  ] %s %d is killed. ret = %d, status = %d", name.c_str(), pid, reaped,
           status);
}

// Throws what the conversion throws when "program" is no text.
const std::string& ChildProc::Program() {
  if (!program) program = std::string(item["program"]);
  return *program;
}

// The same for "run_once".
bool ChildProc::RunsOnce() {
  if (!runs_once) runs_once = static_cast<bool>(item["run_once"]);
  return *runs_once;
}

// Runs in the forked child.
void ChildProc::Execute() {
  const ArgumentVector arguments(*program, item);
  if (arguments.argv() != nullptr) (void)execv(program->c_str(), arguments.argv());
}
