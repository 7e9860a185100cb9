#include <libproc.h>
#include <sys/sysctl.h>

#include <csignal>
#include <cstdint>

#include "tests/support/test_process.h"

// launchd reaps every orphan at once.
void AdoptOrphans() {}

void EndWithParent(int) {}

bool HandlesSigterm(pid_t process) {
  kinfo_proc info = {};
  int name[] = {CTL_KERN, KERN_PROC, KERN_PROC_PID, process};
  size_t size = sizeof(info);
  if (sysctl(name, 4, &info, &size, nullptr, 0) != 0 || size == 0) return false;
  const sigset_t sigterm = sigmask(SIGTERM);
  return (info.kp_proc.p_sigcatch & sigterm) != 0;
}

// What it waits for the platform doesn't tell: a thread that sleeps, or waits for a file, looks the same.
bool MainThreadWaits(pid_t process) {
  // A list of handles in the order in which the threads were made; one that is cut off still has the main one.
  uint64_t threads[1] = {};
  if (proc_pidinfo(process, PROC_PIDLISTTHREADS, 0, threads, sizeof(threads)) != sizeof(threads)) return false;
  proc_threadinfo thread = {};
  if (proc_pidinfo(process, PROC_PIDTHREADINFO, threads[0], &thread, sizeof(thread)) != sizeof(thread)) return false;
  return thread.pth_run_state == TH_STATE_WAITING;
}

bool LibrariesReplaceSystemFunctions() { return false; }

bool ThreadsCountAsProcesses() { return false; }
