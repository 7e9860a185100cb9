#include <fcntl.h>
#include <sys/stat.h>

#include "liblogger/file_status.h"

static bool GetStatus(int folder, const char* path, int flags, FileStatus& status) {
  constexpr unsigned kNeeded = STATX_TYPE | STATX_NLINK | STATX_INO | STATX_SIZE;
  struct statx found;
  if (statx(folder, path, flags, kNeeded, &found) != 0) return false;
  status.device = uint64_t{found.stx_dev_major} << 32 | found.stx_dev_minor;
  status.inode = found.stx_ino;
  status.size_bytes = static_cast<off_t>(found.stx_size);
  status.is_regular = S_ISREG(found.stx_mode);
  status.has_name = found.stx_nlink > 0;
  return true;
}

bool GetPathStatus(const char* path, FileStatus& status) {
  return GetStatus(AT_FDCWD, path, AT_SYMLINK_NOFOLLOW, status);
}

bool GetDescriptorStatus(int file, FileStatus& status) { return GetStatus(file, "", AT_EMPTY_PATH, status); }
