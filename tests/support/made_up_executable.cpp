#include "tests/support/made_up_executable.h"

#include <cstring>

#include "common/system/executable.h"

static std::optional<std::string> g_path;

void SetExecutablePath(std::optional<std::string> path) { g_path = path; }

int GetExecutablePath(char* buffer, uint32_t* size) {
  if (!g_path) return -1;
  const size_t needed = g_path->size() + 1;
  if (needed > *size) {
    *size = static_cast<uint32_t>(needed);
    return -1;
  }
  memcpy(buffer, g_path->c_str(), needed);
  return 0;
}
