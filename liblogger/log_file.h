// A log file that records are appended to by any number of threads and processes, bounded by rotation.
#pragma once

#include <limits.h>
#include <sys/types.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "liblogger/file_status.h"

// When a file is full, and how many older ones are kept beside it.
struct RotationLimits {
  off_t full_bytes;
  int kept_files;
};

// What is kept of one log: 20 MiB.
static constexpr RotationLimits kDefaultLimits = {off_t{4} * 1024 * 1024, 4};

// The file `path`, opened again whenever the path names another file or none: after a rotation by another process, or
// after somebody has removed it or moved it away.
//
// No function takes a lock or allocates memory, and none but `Open` waits. `Append` may be called by any number of
// threads at once and in forked children.
//
// How threads share it: all of them write to one descriptor number, which is kept for life. A thread that finds the
// path naming another file opens that one, writes to it, and puts it behind the shared number. Meanwhile the others do
// the same or write to the file that they have found; nobody waits.
//
// How processes share it: every write is an append of its own. Whoever finds the file full locks that very file
// (`flock`, which fails at once if it is taken), renames it, and begins a new one. Who does not get the lock writes on
// to the full file, which therefore exceeds its size a little.
class LogFile {
 public:
  // `path` is absolute and has room for a dot and a number below PATH_MAX. It is copied.
  LogFile(const char* path, RotationLimits rotation_limits);

  // Opens the file, so that later records need no free descriptor, and makes its folder where it is missing. If that
  // fails, the next record tries again. Where the file ends with a piece of a record, which a process that was ended
  // has left there, this takes 20 ms to be sure of it. To be called once, before there is a record.
  void Open();

  struct Result {
    size_t written;  // In bytes; fewer than all where the disk became full, for example.
    int error;       // An errno value, or 0 if all was written.
  };

  // Appends `bytes` with one `write`, after a look at the path. If the path can't be opened, they go to the file that
  // is open, as long as that still has a name. A piece of a record that an earlier failure has left at the file's end
  // is ended by a line feed first. `now_ns` is the time in nanoseconds: what was seen less than two microseconds ago
  // is taken as still true. Changes `errno`.
  Result Append(const char* bytes, size_t length, int64_t now_ns);

  // To be called in a forked child, before anything else is called there.
  void AfterFork();

  const char* Path() const { return path; }

 private:
  bool WasJustSeen(int64_t now_ns) const;
  int Follow(int64_t now_ns, int& open_error);
  int OpenPath() const;
  int Rotate() const;
  void MoveUp() const;
  void Share(int opened);
  bool IsShared(const FileStatus& file) const { return shared_inode == file.inode && shared_device == file.device; }
  void EndTornRecord(int file);

  const RotationLimits limits;
  char path[PATH_MAX];
  std::atomic<int> shared_descriptor{-1};
  // The file behind the shared descriptor. It is open, so no other file gets its number.
  std::atomic<uint64_t> shared_device{0};
  std::atomic<uint64_t> shared_inode{0};
  std::atomic<bool> is_being_shared{false};
  std::atomic<bool> may_end_torn{false};
  std::atomic<int64_t> seen_ns{0};  // When the path was last seen to name the shared file, with room in it.
};
