#include <sys/prctl.h>
#include <sys/syscall.h>

#include <csignal>
#include <cstdint>
#include <fstream>
#include <string>

#include "tests/support/test_process.h"

void AdoptOrphans() { (void)prctl(PR_SET_CHILD_SUBREAPER, 1); }

// Whether SIGTERM is in the set behind `key` in what is told of the process's main thread.
static bool IsSigtermIn(const std::string& key, pid_t process) {
  constexpr uint64_t kSigterm = uint64_t{1} << (SIGTERM - 1);
  std::ifstream file("/proc/" + std::to_string(process) + "/status");
  for (std::string line; std::getline(file, line);) {
    if (line.rfind(key, 0) == 0) return (std::stoull(line.substr(key.size()), nullptr, 16) & kSigterm) != 0;
  }
  return false;
}

bool HandlesSigterm(pid_t process) { return IsSigtermIn("SigCgt:", process); }

bool MainThreadWaits(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/syscall");
  long number = -1;
  file >> number;
  return number == SYS_futex && HandlesSigterm(process) && !IsSigtermIn("SigBlk:", process);
}

void EndWithParent(int signal_number) { (void)prctl(PR_SET_PDEATHSIG, signal_number); }

bool LibrariesReplaceSystemFunctions() { return true; }

bool ThreadsCountAsProcesses() { return true; }
