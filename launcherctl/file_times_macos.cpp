#include <sys/stat.h>

#include "launcherctl/file_times.h"

int64_t FileBirthMs(int descriptor) {
  struct stat status = {};
  if (fstat(descriptor, &status) != 0) return 0;
  return static_cast<int64_t>(status.st_birthtimespec.tv_sec) * 1000 + status.st_birthtimespec.tv_nsec / 1000000;
}

int64_t FileModifiedMs(const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0) return 0;
  return static_cast<int64_t>(status.st_mtimespec.tv_sec) * 1000 + status.st_mtimespec.tv_nsec / 1000000;
}
