#include <sys/prctl.h>
#include <sys/syscall.h>

#include <fstream>
#include <string>

#include "tests/support/test_process.h"

void AdoptOrphans() { (void)prctl(PR_SET_CHILD_SUBREAPER, 1); }

bool MainThreadWaits(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/syscall");
  long number = -1;
  file >> number;
  return number == SYS_futex;
}

void EndWithParent(int signal_number) { (void)prctl(PR_SET_PDEATHSIG, signal_number); }

bool LibrariesReplaceSystemFunctions() { return true; }

bool ThreadsCountAsProcesses() { return true; }
