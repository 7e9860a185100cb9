#include "liblogger/log_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "liblogger/burst.h"
#include "liblogger/log_folder.h"
#include "liblogger/replace_descriptor.h"

static constexpr mode_t kFileMode = 0600;

// A daemon that has closed 0, 1 and 2 would hand a log file there to the programs that it starts, as their standard
// output.
static constexpr int kLowestDescriptor = 3;

// How long one look may hold for records that follow at once. Short beside anything that a person does to a file, long
// beside the look itself, which takes longer than writing a record: a record of a burst bears a small part of it.
static constexpr int64_t kLookHoldsNs = 50000;

// For how long somebody who has written to the file may be expected to do so again.
static constexpr int64_t kOthersStayNs = 10000000;

// Returns a descriptor of the regular file `path`, made if it is missing, or none with errno set.
static Descriptor OpenRegularFile(const char* path) {
  // O_NONBLOCK, because a FIFO in the file's place would make the call wait. Reading serves `EndsTorn`.
  const int flags = O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY | O_NONBLOCK;
  Descriptor file(open(path, flags, kFileMode));
  if (file.IsOpen() && file.Number() < kLowestDescriptor) {
    file = Descriptor(fcntl(file.Number(), F_DUPFD_CLOEXEC, kLowestDescriptor));
  }
  FileStatus opened = {};
  if (!file.IsOpen() || (GetDescriptorStatus(file.Number(), opened) && opened.is_regular)) return file;
  errno = EINVAL;
  return {};
}

// Whether the last line of a file of that size has no end: it is a piece of a record, or just being written.
static bool EndsTorn(int file, off_t size_bytes) {
  char last = '\n';
  return size_bytes > 0 && pread(file, &last, 1, size_bytes - 1) == 1 && last != '\n';
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

static int64_t NowNs() {
  timespec now = {};
  (void)clock_gettime(CLOCK_REALTIME, &now);
  return int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

LogFile::LogFile(const char* path, RotationLimits limits) : rotation(limits) {
  (void)snprintf(path_text, sizeof(path_text), "%s", path);
}

bool LogFile::IsAt(const char* path) const { return strcmp(path_text, path) == 0; }

void LogFile::Open() {
  const Descriptor opened = OpenPath();
  if (opened.IsOpen()) (void)Share(opened);  // Where that fails, a record tries again.
}

LogFile::Result LogFile::Append(const char* bytes, size_t length, int64_t now_ns) {
  Burst* const burst = CurrentBurst();
  bool is_shared = burst != nullptr && burst->GoesOn(this, now_ns) && WasJustSeen(now_ns);
  Result result = {0, EBADF};
  if (is_shared) result = Write(shared_descriptor, bytes, length, true);
  // Also when the program has closed descriptors that it did not open, the shared one among them.
  if (result.error == EBADF) result = AppendAfterLook(bytes, length, now_ns, is_shared);
  if (burst == nullptr) return result;
  if (is_shared && result.error == 0) {
    burst->Written(this, NowNs());
  } else {
    burst->End();
  }
  return result;
}

void LogFile::AfterFork() {
  is_being_shared = false;  // The thread that was at it is not in this process.
  FileStatus shared = {};
  if (GetSharedStatus(shared)) (void)fcntl(shared_descriptor, F_SETFD, FD_CLOEXEC);
}

bool LogFile::WasJustSeen(int64_t now_ns) const {
  const int64_t passed_ns = now_ns - seen_ns.load(std::memory_order_relaxed);
  return passed_ns >= 0 && passed_ns < kLookHoldsNs &&
         expected_bytes.load(std::memory_order_relaxed) < rotation.full_bytes;
}

// Looks where the path leads and writes there. Sets `to_shared` to whether that is the shared file.
LogFile::Result LogFile::AppendAfterLook(const char* bytes, size_t length, int64_t now_ns, bool& to_shared) {
  FileStatus named = {};
  FileStatus shared = {};
  const bool has_name = GetPathStatus(path_text, named);
  const bool has_shared = GetSharedStatus(shared);
  const bool is_shared = has_name && has_shared && named.IsSameFile(shared);
  int open_error = 0;
  Descriptor opened = Follow(named, is_shared, open_error);
  to_shared = !opened.IsOpen() || Share(opened);
  // Where the path can't be opened, the file before will do, but not one that is gone for good.
  if (open_error != 0 && !(has_shared && shared.has_name)) return {0, open_error};

  const bool is_alone = is_shared && !opened.IsOpen() && IsOnlyWriter(shared.size_bytes, now_ns) &&
                        !EndsTorn(shared_descriptor, shared.size_bytes);
  seen_ns.store(is_alone ? now_ns : 0, std::memory_order_relaxed);
  if (is_alone || open_error != 0) return Write(shared_descriptor, bytes, length, true);
  // A descriptor that no other thread uses, not even by another number, tells where the record stands.
  if (to_shared) opened = OpenPath();
  if (!opened.IsOpen()) return Write(shared_descriptor, bytes, length, true);
  FileStatus own = {};
  const bool is_counted = to_shared && GetDescriptorStatus(opened.Number(), own) && IsShared(own);
  const Result result = Write(opened.Number(), bytes, length, is_counted);
  if (result.written > 0) EndPieceBefore(opened, result.written);
  return result;
}

LogFile::Result LogFile::Write(int file, const char* bytes, size_t length, bool is_shared) {
  if (is_shared) expected_bytes += static_cast<off_t>(length);
  const Result result = WriteOnce(file, bytes, length);
  if (result.error == 0) return result;
  if (is_shared) expected_bytes -= static_cast<off_t>(length - result.written);
  seen_ns = 0;
  return result;
}

// Fills in `status` and returns true if the shared descriptor is still what it was made: the program may have closed
// it, and its number may be that of another file since.
bool LogFile::GetSharedStatus(FileStatus& status) const {
  return GetDescriptorStatus(shared_descriptor, status) && IsShared(status);
}

// Returns a descriptor of the file that is `named` by the path, after a rotation where that is due, or none where the
// shared one will do. Then `open_error` tells whether that is because the path can't be opened.
Descriptor LogFile::Follow(const FileStatus& named, bool is_shared, int& open_error) const {
  Descriptor opened;
  if (named.size_bytes >= rotation.full_bytes) opened = Rotate();
  if (opened.IsOpen() || is_shared) return opened;
  opened = OpenPath();
  if (!opened.IsOpen()) open_error = errno;
  return opened;
}

Descriptor LogFile::OpenPath() const {
  Descriptor file = OpenRegularFile(path_text);
  if (file.IsOpen() || errno != ENOENT) return file;
  char folder[PATH_MAX] = {};
  memcpy(folder, path_text, static_cast<size_t>(strrchr(path_text, '/') - path_text));
  errno = MakeFolder(folder);
  return errno == 0 ? OpenRegularFile(path_text) : Descriptor();
}

// Moves the full file out of the way, unless somebody else does so or has done so. Returns a descriptor of the file
// that the path names then, or none while somebody else is at it.
Descriptor LogFile::Rotate() const {
  {
    // Opened for this purpose: a lock on the shared descriptor would be one with every forked child's.
    const Descriptor full = OpenPath();
    if (!full.IsOpen() || flock(full.Number(), LOCK_EX | LOCK_NB) != 0) return {};
    FileStatus locked = {};
    FileStatus named = {};
    if (GetDescriptorStatus(full.Number(), locked) && GetPathStatus(path_text, named) && locked.IsSameFile(named) &&
        locked.size_bytes >= rotation.full_bytes) {
      MoveUp();
    }
    // Not left to the descriptor's end: a child that was forked meanwhile holds a copy.
    (void)flock(full.Number(), LOCK_UN);
  }
  return OpenPath();
}

// Renames the file `path` to `path`.1, and before that .1 to .2 and so on, up to the first number that is free. A gap
// is filled so that a rename that fails time and again doesn't push the older ones out.
void LogFile::MoveUp() const {
  struct Name {
    char text[PATH_MAX + sizeof(".-2147483648")];
    Name(const char* base, int number) { (void)snprintf(text, sizeof(text), "%s.%d", base, number); }
  };
  int last = 1;
  FileStatus older = {};
  while (last < rotation.kept_files && GetPathStatus(Name(path_text, last).text, older)) ++last;
  // Removed first, because some file systems write a file to the disk, and wait, when it is renamed over another.
  (void)unlink(Name(path_text, last).text);
  for (int number = last; number > 1; --number) {
    (void)rename(Name(path_text, number - 1).text, Name(path_text, number).text);
  }
  (void)rename(path_text, Name(path_text, 1).text);  // Where this fails, the file grows until it works.
}

// Puts `opened` behind the shared descriptor and returns true, unless another thread is doing so with its own.
bool LogFile::Share(const Descriptor& opened) {
  if (is_being_shared.exchange(true)) return false;
  const bool is_shared = PutBehindShared(opened);
  is_being_shared = false;
  return is_shared;
}

bool LogFile::PutBehindShared(const Descriptor& opened) {
  FileStatus file = {};
  FileStatus named = {};
  FileStatus before = {};
  // Only what the path names at this moment: a thread that was held up must not bring back an older file.
  if (!GetDescriptorStatus(opened.Number(), file) || !GetPathStatus(path_text, named) || !file.IsSameFile(named)) {
    return false;
  }
  const bool is_kept = GetSharedStatus(before);
  // Before the descriptor, so that a child forked in between does not take another file's number for its own.
  shared_device = file.device;
  shared_inode = file.inode;
  // Before the descriptor, too: a write to the file before that is counted here hides as much of what others write.
  expected_bytes = file.size_bytes;
  bool is_shared;
  if (is_kept) {
    is_shared = ReplaceDescriptor(opened.Number(), shared_descriptor);
  } else {
    const int made = fcntl(opened.Number(), F_DUPFD_CLOEXEC, kLowestDescriptor);
    is_shared = made >= 0;
    if (is_shared) shared_descriptor = made;
  }
  if (!is_shared) {
    shared_device = before.device;
    shared_inode = before.inode;
  }
  return is_shared;
}

// Whether nobody else has written to the shared file of that size lately, as far as sizes tell.
bool LogFile::IsOnlyWriter(off_t size_bytes, int64_t now_ns) {
  const off_t expected = expected_bytes;
  if (size_bytes > expected) {
    expected_bytes += size_bytes - expected;
    others_seen_ns = now_ns;
  }
  const int64_t passed_ns = now_ns - others_seen_ns;
  return passed_ns < 0 || passed_ns > kOthersStayNs;
}

// Where the last `written` bytes that `own` has written stand behind a piece of a record, puts a line feed in place of
// the piece's last byte. Afterwards, because nobody can tell beforehand whether a record that is just being written
// will be torn. What stands there is finished: the file only grows, and beyond it already.
void LogFile::EndPieceBefore(const Descriptor& own, size_t written) {
  const off_t start = lseek(own.Number(), 0, SEEK_CUR) - static_cast<off_t>(written);
  if (!EndsTorn(own.Number(), start)) return;
  // With O_APPEND some systems append wherever one writes.
  (void)fcntl(own.Number(), F_SETFL, fcntl(own.Number(), F_GETFL) & ~O_APPEND);
  (void)!pwrite(own.Number(), "\n", 1, start - 1);
}
