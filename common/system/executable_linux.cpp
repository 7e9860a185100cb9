#include <unistd.h>

#include <climits>
#include <cstring>

#include "common/system/executable.h"

int GetExecutablePath(char* buffer, uint32_t* size) {
  char path[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof(path));
  if (length < 0) return -1;
  const auto needed = static_cast<uint32_t>(length) + 1;
  if (needed > *size) {
    *size = needed;
    return -1;
  }
  memcpy(buffer, path, static_cast<size_t>(length));
  buffer[length] = '\0';
  return 0;
}
