// Files and folders.

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tools/machorun/darwin.h"
#include "tools/machorun/shims.h"

static int HostOpenFlags(int flags) {
  static const struct {
    int darwin, host;
  } kFlags[] = {{kDarwinNonBlock, O_NONBLOCK},
                {kDarwinAppend, O_APPEND},
                {kDarwinNoFollow, O_NOFOLLOW},
                {kDarwinCreate, O_CREAT},
                {kDarwinTruncate, O_TRUNC},
                {kDarwinExclusive, O_EXCL},
                {kDarwinNoControllingTerminal, O_NOCTTY},
                {kDarwinDirectory, O_DIRECTORY},
                {kDarwinCloseOnExec, O_CLOEXEC}};
  int host = flags & kDarwinAccessMode;
  for (const auto& flag : kFlags) {
    if ((flags & flag.darwin) != 0) host |= flag.host;
  }
  return host;
}

static int DarwinOpenFlags(int flags) {
  int darwin = flags & O_ACCMODE;
  if ((flags & O_NONBLOCK) != 0) darwin |= kDarwinNonBlock;
  if ((flags & O_APPEND) != 0) darwin |= kDarwinAppend;
  return darwin;
}

static mode_t ModeArgument(int host_flags, va_list arguments) {
  return (host_flags & O_CREAT) != 0 ? static_cast<mode_t>(va_arg(arguments, int)) : 0;
}

static int Open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = ModeArgument(HostOpenFlags(flags), arguments);
  va_end(arguments);
  return open(path, HostOpenFlags(flags), mode);
}

static int HostFolder(int folder) { return folder == kDarwinAtCurrentFolder ? AT_FDCWD : folder; }

static int OpenAt(int folder, const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = ModeArgument(HostOpenFlags(flags), arguments);
  va_end(arguments);
  return openat(HostFolder(folder), path, HostOpenFlags(flags), mode);
}

static int HostAtFlags(int flags) {
  return ((flags & kDarwinAtNoFollow) != 0 ? AT_SYMLINK_NOFOLLOW : 0) |
         ((flags & kDarwinAtRemoveFolder) != 0 ? AT_REMOVEDIR : 0);
}

static int UnlinkAt(int folder, const char* path, int flags) {
  return unlinkat(HostFolder(folder), path, HostAtFlags(flags));
}

static int ChmodAt(int folder, const char* path, mode_t mode, int flags) {
  return fchmodat(HostFolder(folder), path, mode, HostAtFlags(flags));
}

static int Fcntl(int file, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  const long argument = va_arg(arguments, long);
  va_end(arguments);
  switch (command) {
    case F_DUPFD:
    case F_GETFD:
    case F_SETFD:
      return fcntl(file, command, static_cast<int>(argument));
    case F_GETFL: {
      const int flags = fcntl(file, F_GETFL);
      return flags < 0 ? flags : DarwinOpenFlags(flags);
    }
    case F_SETFL:
      return fcntl(file, F_SETFL, HostOpenFlags(static_cast<int>(argument)));
    case kDarwinDupCloseOnExec:
      return fcntl(file, F_DUPFD_CLOEXEC, static_cast<int>(argument));
    default:
      errno = EINVAL;
      return -1;
  }
}

// --- Status

static DarwinTimespec Time(const timespec& time) { return {time.tv_sec, time.tv_nsec}; }

static int Fill(int result, const struct stat& host, DarwinStat* status) {
  if (result != 0) return result;
  *status = {};
  status->device = static_cast<int32_t>(host.st_dev);
  status->mode = static_cast<uint16_t>(host.st_mode);
  status->links = static_cast<uint16_t>(host.st_nlink);
  status->inode = host.st_ino;
  status->user = host.st_uid;
  status->group = host.st_gid;
  status->special_device = static_cast<int32_t>(host.st_rdev);
  status->accessed = Time(host.st_atim);
  status->modified = Time(host.st_mtim);
  status->changed = Time(host.st_ctim);
  status->born = Time(host.st_mtim);
  status->size_bytes = host.st_size;
  status->blocks = host.st_blocks;
  status->block_bytes = static_cast<int32_t>(host.st_blksize);
  return 0;
}

static int StatPath(const char* path, DarwinStat* status) {
  struct stat host = {};
  return Fill(stat(path, &host), host, status);
}

static int StatLink(const char* path, DarwinStat* status) {
  struct stat host = {};
  return Fill(lstat(path, &host), host, status);
}

static int StatFile(int file, DarwinStat* status) {
  struct stat host = {};
  return Fill(fstat(file, &host), host, status);
}

static int StatAt(int folder, const char* path, DarwinStat* status, int flags) {
  struct stat host = {};
  return Fill(fstatat(HostFolder(folder), path, &host, HostAtFlags(flags)), host, status);
}

// --- Folders

static DarwinDirectoryEntry* ReadFolder(DIR* folder) {
  static thread_local DarwinDirectoryEntry entry;
  const dirent* const host = readdir(folder);
  if (host == nullptr) return nullptr;
  entry = {};
  entry.inode = host->d_ino;
  entry.record_bytes = sizeof(entry);
  entry.name_bytes = static_cast<uint16_t>(strlen(host->d_name));
  entry.type = host->d_type;
  memcpy(entry.name, host->d_name, entry.name_bytes);
  return &entry;
}

// --- Copies

static void* MakeCopyState() { return calloc(1, 1); }

static int FreeCopyState(void* state) {
  free(state);
  return 0;
}

static int CopyFile(int from, int to, void*, uint32_t) {
  char piece[65536];
  for (ssize_t count; (count = read(from, piece, sizeof(piece))) != 0;) {
    if (count < 0 || write(to, piece, static_cast<size_t>(count)) != count) return -1;
  }
  return 0;
}

static void* Map(void* wanted, size_t bytes, int protection, int flags, int file, off_t offset) {
  const int shared = flags & (MAP_SHARED | MAP_PRIVATE | MAP_FIXED);
  return mmap(wanted, bytes, protection, shared | ((flags & kDarwinMapAnonymous) != 0 ? MAP_ANONYMOUS : 0), file,
              offset);
}

static char* RealPath(const char* path, char* resolved) { return realpath(path, resolved); }

template <typename Function>
static void* Address(Function* function) {
  return reinterpret_cast<void*>(function);
}

const Shim* FileShims() {
  static const Shim shims[] = {
      {"_open", Address(&Open)},
      {"_openat", Address(&OpenAt)},
      {"_unlinkat", Address(&UnlinkAt)},
      {"_fchmodat", Address(&ChmodAt)},
      {"_fcntl", Address(&Fcntl)},
      {"_stat$INODE64", Address(&StatPath)},
      {"_lstat$INODE64", Address(&StatLink)},
      {"_fstat$INODE64", Address(&StatFile)},
      {"_fstatat$INODE64", Address(&StatAt)},
      {"_opendir$INODE64", Address(&opendir)},
      {"_fdopendir$INODE64", Address(&fdopendir)},
      {"_readdir$INODE64", Address(&ReadFolder)},
      {"_copyfile_state_alloc", Address(&MakeCopyState)},
      {"_copyfile_state_free", Address(&FreeCopyState)},
      {"_fcopyfile", Address(&CopyFile)},
      {"_mmap", Address(&Map)},
      {"_mprotect", Address(&mprotect)},
      {"_realpath$DARWIN_EXTSN", Address(&RealPath)},
      {nullptr, nullptr},
  };
  return shims;
}
