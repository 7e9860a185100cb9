#include "liblogger/log_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "liblogger/log_folder.h"
#include "liblogger/replace_descriptor.h"

static constexpr mode_t kFileMode = 0600;

// A daemon that has closed 0, 1 and 2 would hand a log file there to the programs that it starts, as their standard
// output.
static constexpr int kLowestDescriptor = 3;

// About as long as it takes to write a record and rename its file, so that a look is outdated only for those who do
// both at full speed. In a burst every fourth record or so looks, which halves the cost of a record.
static constexpr int64_t kLookHoldsNs = 2000;

// Returned where a descriptor is expected: write to the shared one.
static constexpr int kUseShared = -1;

// Closes a descriptor that only this thread uses, and keeps `errno`.
static void CloseOwn(int file) {
  const int error = errno;
  (void)close(file);
  errno = error;
}

// Returns a descriptor of the regular file `path`, made if it is missing, or -1 with errno set.
static int OpenRegularFile(const char* path) {
  // O_NONBLOCK, because a FIFO in the file's place would make the call wait. Reading serves `EndTornRecord`.
  const int flags = O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY | O_NONBLOCK;
  int file = open(path, flags, kFileMode);
  if (file >= 0 && file < kLowestDescriptor) {
    const int moved = fcntl(file, F_DUPFD_CLOEXEC, kLowestDescriptor);
    CloseOwn(file);
    file = moved;
  }
  if (file < 0) return -1;
  FileStatus opened = {};
  if (GetDescriptorStatus(file, opened) && opened.is_regular) return file;
  (void)close(file);
  errno = EINVAL;
  return -1;
}

// Whether the last line has no end.
static bool EndsTorn(int file) {
  FileStatus status = {};
  char last = '\n';
  if (!GetDescriptorStatus(file, status) || status.size_bytes == 0) return false;
  return pread(file, &last, 1, status.size_bytes - 1) == 1 && last != '\n';
}

// Like `EndsTorn`, but not for what another process is just writing, of which a part shows for a moment.
static bool StaysTorn(int file) {
  constexpr timespec kPause = {0, 2000000};
  for (int looks = 0; looks < 10; ++looks) {
    if (!EndsTorn(file)) return false;
    (void)nanosleep(&kPause, nullptr);
  }
  return true;
}

static LogFile::Result WriteOnce(int file, const char* bytes, size_t length) {
  ssize_t written;
  do {
    written = write(file, bytes, length);
  } while (written < 0 && errno == EINTR);
  if (written < 0) return {0, errno};
  const auto count = static_cast<size_t>(written);
  return {count, count == length ? 0 : ENOSPC};
}

LogFile::LogFile(const char* file_path, RotationLimits rotation_limits) : limits(rotation_limits) {
  (void)snprintf(path, sizeof(path), "%s", file_path);
}

void LogFile::Open() {
  const int opened = OpenPath();
  if (opened < 0) return;
  may_end_torn = StaysTorn(opened);
  Share(opened);
  (void)close(opened);
}

LogFile::Result LogFile::Append(const char* bytes, size_t length, int64_t now_ns) {
  int open_error = 0;
  const int opened = WasJustSeen(now_ns) ? kUseShared : Follow(now_ns, open_error);
  const int file = opened != kUseShared ? opened : shared_descriptor.load();
  FileStatus status = {};
  // Where the path can't be opened, the file before will do, but not one that is gone for good.
  if (open_error != 0 && !(GetDescriptorStatus(file, status) && status.has_name)) return {0, open_error};

  EndTornRecord(file);
  const Result result = WriteOnce(file, bytes, length);
  if (result.error != 0) may_end_torn = true;
  if (opened != kUseShared) {
    (void)close(opened);
  } else if (result.error == EBADF && open_error == 0) {
    // The program has closed descriptors that it did not open, the shared one among them.
    shared_inode = 0;
    seen_ns = 0;
    return Append(bytes, length, now_ns);
  }
  return result;
}

void LogFile::AfterFork() {
  is_being_shared = false;  // The thread that was at it is not in this process.
  const int file = shared_descriptor;
  if (file >= 0) (void)fcntl(file, F_SETFD, FD_CLOEXEC);
}

bool LogFile::WasJustSeen(int64_t now_ns) const {
  const int64_t passed_ns = now_ns - seen_ns.load(std::memory_order_relaxed);
  return passed_ns > -kLookHoldsNs && passed_ns < kLookHoldsNs;  // The clock may have been set back.
}

// Looks where the path leads. Returns a descriptor of the file that is named, if that is not the shared one, or
// `kUseShared`; then `open_error` tells whether that is because the path can't be opened.
int LogFile::Follow(int64_t now_ns, int& open_error) {
  FileStatus named = {};
  const bool is_shared = GetPathStatus(path, named) && IsShared(named);
  int opened = kUseShared;
  if (named.size_bytes >= limits.full_bytes) {
    opened = Rotate();
  } else if (is_shared) {
    seen_ns.store(now_ns, std::memory_order_relaxed);
  }
  if (opened == kUseShared && !is_shared) {
    opened = OpenPath();
    if (opened < 0) open_error = errno;
  }
  if (opened != kUseShared) Share(opened);
  return opened;
}

int LogFile::OpenPath() const {
  const int file = OpenRegularFile(path);
  if (file >= 0 || errno != ENOENT) return file;
  char folder[PATH_MAX] = {};
  memcpy(folder, path, static_cast<size_t>(strrchr(path, '/') - path));
  errno = MakeFolder(folder);
  return errno == 0 ? OpenRegularFile(path) : -1;
}

// Moves the full file out of the way, unless somebody else does so or has done so. Returns a descriptor of the file
// that the path names then, or `kUseShared`.
int LogFile::Rotate() const {
  // Opened for this purpose: a lock on the shared descriptor would be one with every forked child's.
  const int full = OpenPath();
  if (full < 0) return kUseShared;
  const bool is_locked = flock(full, LOCK_EX | LOCK_NB) == 0;
  FileStatus locked = {};
  FileStatus named = {};
  if (is_locked && GetDescriptorStatus(full, locked) && GetPathStatus(path, named) && locked.IsSameFile(named) &&
      locked.size_bytes >= limits.full_bytes) {
    MoveUp();
  }
  // Not left to `close`: a child that was forked meanwhile holds a copy.
  if (is_locked) (void)flock(full, LOCK_UN);
  (void)close(full);
  return is_locked ? OpenPath() : kUseShared;
}

// Renames `path` to `path`.1, and before that .1 to .2 and so on, up to the first number that is free. A gap is filled
// so that a rename that fails time and again doesn't push the older ones out.
void LogFile::MoveUp() const {
  struct Name {
    char text[PATH_MAX + sizeof(".-2147483648")];
    Name(const char* base, int number) { (void)snprintf(text, sizeof(text), "%s.%d", base, number); }
  };
  int last = 1;
  FileStatus older = {};
  while (last < limits.kept_files && GetPathStatus(Name(path, last).text, older)) ++last;
  // Removed first, because some file systems write a file to the disk, and wait, when it is renamed over another.
  (void)unlink(Name(path, last).text);
  for (int number = last; number > 1; --number) {
    (void)rename(Name(path, number - 1).text, Name(path, number).text);
  }
  (void)rename(path, Name(path, 1).text);  // Where this fails, the file grows beyond its size until it works.
}

// Puts `opened` behind the shared descriptor, unless another thread is doing the same with its own.
void LogFile::Share(int opened) {
  if (is_being_shared.exchange(true)) return;
  FileStatus file = {};
  FileStatus named = {};
  // Only what the path names at this moment: a thread that was held up must not bring back an older file.
  if (GetDescriptorStatus(opened, file) && GetPathStatus(path, named) && file.IsSameFile(named)) {
    const int shared = shared_descriptor;
    bool is_shared;
    if (shared >= 0 && fcntl(shared, F_GETFD) >= 0) {
      is_shared = ReplaceDescriptor(opened, shared);
    } else {
      const int made = fcntl(opened, F_DUPFD_CLOEXEC, kLowestDescriptor);
      is_shared = made >= 0;
      if (is_shared) shared_descriptor = made;
    }
    if (is_shared) {
      shared_device = file.device;
      shared_inode = file.inode;
    }
  }
  is_being_shared = false;
}

void LogFile::EndTornRecord(int file) {
  if (!may_end_torn.load(std::memory_order_relaxed) || !may_end_torn.exchange(false)) return;
  if (EndsTorn(file) && WriteOnce(file, "\n", 1).error != 0) may_end_torn = true;
}
