#include "common/system/executable.h"

std::string GetCurrentPath() {
  char path[1025] = {};
  uint32_t size = sizeof(path);
  (void)GetExecutablePath(path, &size);  // A failure leaves the zeroes, which give the empty result.
  const std::string executable(path);
  const size_t last_slash = executable.rfind('/');
  return last_slash == std::string::npos ? std::string() : executable.substr(0, last_slash);
}
