#include "liblogger/liblogger.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <new>

#include "liblogger/record.h"
#include "liblogger/thread_id.h"

// The log is the user's alone.
static constexpr mode_t kFolderMode = 0700;
static constexpr mode_t kFileMode = 0600;

static constexpr size_t kLongestModuleBytes = 64;

// Written by `InitLogger`, before there is a logger that reads them.
static char g_location[PATH_MAX];
static long g_utc_offset_seconds;

static bool PassesLevel(LOGLEVEL record, LOGLEVEL logger) { return logger == LOGLEVEL_VERBOSE || record >= logger; }

class FileLog final : public ILog {
 public:
  FileLog(const char* module_name, LOGLEVEL threshold, int file) : level(threshold), descriptor(file) {
    (void)snprintf(module, sizeof(module), "%s", module_name);
  }

  __attribute__((format(printf, 3, 0))) void LogV(LOGLEVEL record_level, const char* format,
                                                  va_list arguments) override {
    if (!PassesLevel(record_level, level)) return;
    const int saved_errno = errno;
    RecordOrigin origin = {{}, g_utc_offset_seconds, record_level, module, getpid(), CurrentThreadId()};
    (void)clock_gettime(CLOCK_REALTIME, &origin.time);
    char record[kLongestRecordBytes];
    const size_t length = FormatRecord(origin, format, arguments, record);
    // One write to a file that is open for appending: records of several threads and processes never mix.
    ssize_t written;
    do {
      written = write(descriptor, record, length);
    } while (written < 0 && errno == EINTR);
    errno = saved_errno;
  }

 private:
  char module[kLongestModuleBytes + 1];
  LOGLEVEL level;
  int descriptor;
};

// Makes the folder `path`, and its parents, where they are missing. Returns 0 or an errno value.
static int MakeFolders(const char* path) {
  char prefix[PATH_MAX];
  for (size_t length = 1; path[length - 1] != '\0'; ++length) {
    if (path[length] != '/' && path[length] != '\0') continue;
    memcpy(prefix, path, length);
    prefix[length] = '\0';
    if (mkdir(prefix, kFolderMode) == 0 || errno == EEXIST || errno == EISDIR) continue;
    const int mkdir_error = errno;
    struct stat existing = {};
    // A parent that is there but may not be written answers with another error than EEXIST on some systems.
    if (stat(prefix, &existing) != 0 || !S_ISDIR(existing.st_mode)) return mkdir_error;
  }
  struct stat folder = {};
  if (stat(path, &folder) != 0) return errno;
  if (!S_ISDIR(folder.st_mode)) return ENOTDIR;
  return access(path, W_OK | X_OK) == 0 ? 0 : errno;
}

// Opens the log file, never on 0, 1 or 2: a daemon that has closed these would hand the file to the programs it starts,
// as their standard output. Returns the descriptor, or -1 with errno set.
static int OpenLogFile(const char* path) {
  constexpr int kFirstFreeDescriptor = 3;
  const int flags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY;
  const int opened = open(path, flags, kFileMode);
  if (opened < 0 || opened >= kFirstFreeDescriptor) return opened;
  const int moved = fcntl(opened, F_DUPFD_CLOEXEC, kFirstFreeDescriptor);
  const int dup_error = errno;
  (void)close(opened);
  errno = dup_error;
  return moved;
}

static bool IsModuleName(const char* module) {
  const size_t length = strlen(module);
  return length > 0 && length <= kLongestModuleBytes && module[0] != '.' && strchr(module, '/') == nullptr;
}

int InitLogger(const char* location) {
  if (location == nullptr || *location == '\0') return EINVAL;
  if (strlen(location) >= sizeof(g_location)) return ENAMETOOLONG;
  const int error = MakeFolders(location);
  if (error != 0) return error;
  (void)strcpy(g_location, location);
  // Asked for here, once: the time-zone functions take a lock, so `LogV` must not call them.
  const time_t now = time(nullptr);
  tm local = {};
  if (localtime_r(&now, &local) != nullptr) g_utc_offset_seconds = local.tm_gmtoff;
  return 0;
}

int GetLogger(int, const char* module, LOGLEVEL level, ILog** log) {
  if (module == nullptr || log == nullptr || !IsModuleName(module)) return EINVAL;
  if (*g_location == '\0') return ENOENT;  // InitLogger has not succeeded yet.
  char path[PATH_MAX + kLongestModuleBytes + sizeof("/.log")];
  (void)snprintf(path, sizeof(path), "%s/%s.log", g_location, module);
  const int descriptor = OpenLogFile(path);
  if (descriptor < 0) return errno;
  // Never deleted: threads log until the process is gone.
  ILog* const made = new (std::nothrow) FileLog(module, level, descriptor);
  if (made == nullptr) {
    (void)close(descriptor);
    return ENOMEM;
  }
  *log = made;
  return 0;
}
