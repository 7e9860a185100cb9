#include <fcntl.h>
#include <unistd.h>

#include "liblogger/replace_descriptor.h"

bool ReplaceDescriptor(int descriptor, int number) {
  if (dup2(descriptor, number) != number) return false;
  // A child that another thread forks between these two calls sets the flag itself (see `LogFile::AfterFork`).
  (void)fcntl(number, F_SETFD, FD_CLOEXEC);
  return true;
}
