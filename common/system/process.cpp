#include "common/system/process.h"

#include <signal.h>
#include <stdio.h>
#include <sys/types.h>

#include <memory>
#include <stdexcept>

std::string pexec(std::string command) {
  FILE* const opened = popen(command.c_str(), "r");
  // Before the stream has its owner: a shared pointer calls its deleter for a null pointer too, and `pclose` would
  // not survive that.
  if (opened == nullptr) throw std::runtime_error("popen() failed!");
  const std::shared_ptr<FILE> pipe(opened, &pclose);

  std::string output;
  char piece[128];
  // Only the end of file ends the loop; after a read error it goes on reading.
  while (feof(pipe.get()) == 0) {
    if (fgets(piece, sizeof(piece), pipe.get()) != nullptr) output += piece;
  }
  return output;
}

bool IsRunningPID(long long id) {
  constexpr int kOnlyTest = 0;
  return kill(static_cast<pid_t>(id), kOnlyTest) == 0;
}

void DisableQuickEditMode() {}
