// A log file that records are appended to by any number of threads and processes, bounded by rotation.
#pragma once

#include <limits.h>
#include <sys/types.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "liblogger/descriptor.h"
#include "liblogger/file_status.h"

// When a file is full, and how many older ones are kept beside it.
struct RotationLimits {
  off_t full_bytes;
  int kept_files;
};

static constexpr size_t kCacheLineBytes = 64;

// What is kept of one log: 20 MiB.
static constexpr RotationLimits kDefaultLimits = {off_t{4} * 1024 * 1024, 4};

// The file at a path, opened again whenever the path names another file or none: after a rotation by another process,
// or after somebody has removed it or moved it away.
//
// No function takes a lock or allocates memory. `Append` may be called by any number of threads at once and in forked
// children.
//
// How threads share it: all of them write to one descriptor number, which is kept for life. A thread that finds the
// path naming another file opens that one, writes to it, and puts it behind the shared number. Meanwhile the others do
// the same or write to the file that they have found; nobody waits.
//
// How processes share it: every write is an append of its own. Whoever finds the file full locks that very file
// (`flock`, which fails at once if it is taken), renames it, and begins a new one. Who does not get the lock writes on
// to the full file, which therefore exceeds its size a little.
//
// A record is torn when only its first bytes reach the file, because its process was killed or the disk became full
// meanwhile. The next record would stand behind that piece on the same line: whoever finds that its own does, ends the
// piece with a line feed in place of its last byte. That takes a descriptor of its own for the record, which tells
// where the record stands; so it is looked for only when the file ends in the middle of a line, or when others write to
// it. A process that is alone saves that, and where no descriptor is left, the record stays where it is.
//
// The fields are in the order of their subjects, and one has a cache line of its own.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding)
class LogFile {
 public:
  // `path` is absolute and has room for a dot and a number below PATH_MAX. It is copied.
  LogFile(const char* path, RotationLimits limits);

  // Opens the file, so that later records need no free descriptor, and makes its folder where it is missing. If that
  // fails, the next record tries again. To be called once, before there is a record.
  void Open();

  struct Result {
    size_t written;  // In bytes; fewer than all where the disk became full, for example.
    int error;       // An errno value, or 0 if all was written.
  };

  // Appends `bytes` with one `write`, after a look at the path and at the file's last byte. If the path can't be
  // opened, they go to the file that is open, as long as that still has a name.
  //
  // A thread that appends one record right after another looks again after 50 microseconds (see burst.h), unless other
  // processes write to the file too. `now_ns` is the present CLOCK_REALTIME in nanoseconds. Changes `errno`.
  Result Append(const char* bytes, size_t length, int64_t now_ns);

  // To be called in a forked child, before anything else is called there.
  void AfterFork();

  // Whether this is the file of that path, by its text.
  bool IsAt(const char* path) const;

 private:
  bool WasJustSeen(int64_t now_ns) const;
  Result AppendAfterLook(const char* bytes, size_t length, int64_t now_ns, bool& to_shared);
  Result Write(int file, const char* bytes, size_t length, bool is_shared);
  bool IsShared(const FileStatus& file) const { return shared_inode == file.inode && shared_device == file.device; }
  bool GetSharedStatus(FileStatus& status) const;
  Descriptor Follow(const FileStatus& named, bool is_shared, int& open_error) const;
  Descriptor OpenPath() const;
  Descriptor Rotate() const;
  void MoveUp() const;
  bool Share(const Descriptor& opened);
  bool PutBehindShared(const Descriptor& opened);
  bool IsOnlyWriter(off_t size_bytes, int64_t now_ns);
  static void EndPieceBefore(const Descriptor& own, size_t written);

  const RotationLimits rotation;
  char path_text[PATH_MAX];
  std::atomic<int> shared_descriptor{-1};
  // The file that was put behind the shared descriptor. As long as it is there it is open, and no other file gets its
  // number; the program may have closed the descriptor, and another file may have got that number since.
  std::atomic<uint64_t> shared_device{0};
  std::atomic<uint64_t> shared_inode{0};
  std::atomic<bool> is_being_shared{false};
  // The shared file's size when all that this process has begun to write is written, if nobody else writes. On a cache
  // line of its own, because each record changes it.
  alignas(kCacheLineBytes) std::atomic<off_t> expected_bytes{0};
  // When the path was last seen to name the shared file, whole and with no other process writing to it; 0 if it was
  // not.
  std::atomic<int64_t> seen_ns{0};
  // When others were last seen to have written to the shared file.
  std::atomic<int64_t> others_seen_ns{0};
};
