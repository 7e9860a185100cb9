#include <sys/stat.h>

#include "liblogger/file_status.h"

static void Fill(const struct stat& found, FileStatus& status) {
  status.device = static_cast<uint64_t>(found.st_dev);
  status.inode = found.st_ino;
  status.size_bytes = found.st_size;
  status.is_regular = S_ISREG(found.st_mode);
  status.has_name = found.st_nlink > 0;
}

bool GetPathStatus(const char* path, FileStatus& status) {
  struct stat found = {};
  if (lstat(path, &found) != 0) return false;
  Fill(found, status);
  return true;
}

bool GetDescriptorStatus(int file, FileStatus& status) {
  struct stat found = {};
  if (fstat(file, &found) != 0) return false;
  Fill(found, status);
  return true;
}
