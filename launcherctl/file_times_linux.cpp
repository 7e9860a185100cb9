#include <fcntl.h>
#include <sys/stat.h>

#include "launcherctl/file_times.h"

int64_t FileBirthMs(int descriptor) {
  struct statx status = {};
  if (statx(descriptor, "", AT_EMPTY_PATH, STATX_BTIME, &status) != 0 || (status.stx_mask & STATX_BTIME) == 0) return 0;
  return static_cast<int64_t>(status.stx_btime.tv_sec) * 1000 + status.stx_btime.tv_nsec / 1000000;
}

int64_t FileModifiedMs(const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0) return 0;
  return static_cast<int64_t>(status.st_mtim.tv_sec) * 1000 + status.st_mtim.tv_nsec / 1000000;
}
