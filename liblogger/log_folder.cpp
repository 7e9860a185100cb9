#include "liblogger/log_folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>

static constexpr mode_t kFolderMode = 0700;

static int FolderError(const char* path) {
  struct stat folder = {};
  if (stat(path, &folder) != 0) return errno;
  return S_ISDIR(folder.st_mode) ? 0 : ENOTDIR;
}

int MakeFolder(const char* path) {
  char prefix[PATH_MAX];
  for (size_t length = 1; path[length - 1] != '\0'; ++length) {
    if (path[length] != '/' && path[length] != '\0') continue;
    memcpy(prefix, path, length);
    prefix[length] = '\0';
    if (mkdir(prefix, kFolderMode) == 0) continue;
    const int mkdir_error = errno;
    // A folder that is there answers with EEXIST, or with another error where nothing may be made beside it.
    const int folder_error = FolderError(prefix);
    if (folder_error != 0) return mkdir_error == EEXIST ? folder_error : mkdir_error;
  }
  return 0;
}

int TryFolder(const char* path) {
  char trial[PATH_MAX];
  const int length = snprintf(trial, sizeof(trial), "%s/.liblogger-%lld", path, static_cast<long long>(getpid()));
  if (static_cast<size_t>(length) >= sizeof(trial)) return ENAMETOOLONG;
  (void)unlink(trial);  // A process with the same number that was killed here may have left one.
  const int file = open(trial, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (file < 0) return errno;
  char record[256];
  memset(record, '\n', sizeof(record));
  const ssize_t written = write(file, record, sizeof(record));
  const int error = written == static_cast<ssize_t>(sizeof(record)) ? 0 : written < 0 ? errno : ENOSPC;
  (void)unlink(trial);
  (void)close(file);
  return error;
}

static bool IsLogName(const char* name) {
  constexpr char kEnd[] = ".log";
  const size_t length = strlen(name);
  return name[0] != '.' && length >= sizeof(kEnd) && strcmp(name + length - (sizeof(kEnd) - 1), kEnd) == 0;
}

int FindTakenPlace(const char* path) {
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(path), &closedir);
  if (folder == nullptr) return 0;
  while (const dirent* const entry = readdir(folder.get())) {
    struct stat found = {};
    if (!IsLogName(entry->d_name)) continue;
    if (fstatat(dirfd(folder.get()), entry->d_name, &found, AT_SYMLINK_NOFOLLOW) != 0 || S_ISREG(found.st_mode))
      continue;
    return S_ISLNK(found.st_mode) ? ELOOP : S_ISDIR(found.st_mode) ? EISDIR : EINVAL;
  }
  return 0;
}
