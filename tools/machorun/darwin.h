// The numbers and layouts of macOS on Intel's processors that differ from Linux's, as far as programs of this project
// meet them. tests/tools/machorun/darwin_layout_macos.cpp compares each with the system's own headers, in the build for
// macOS.
#pragma once

#include <cstddef>
#include <cstdint>

// --- Files

constexpr int kDarwinNonBlock = 0x4;
constexpr int kDarwinAppend = 0x8;
constexpr int kDarwinNoFollow = 0x100;
constexpr int kDarwinCreate = 0x200;
constexpr int kDarwinTruncate = 0x400;
constexpr int kDarwinExclusive = 0x800;
constexpr int kDarwinNoControllingTerminal = 0x20000;
constexpr int kDarwinDirectory = 0x100000;
constexpr int kDarwinCloseOnExec = 0x1000000;
constexpr int kDarwinAccessMode = 0x3;

constexpr int kDarwinDupCloseOnExec = 67;  // fcntl
constexpr int kDarwinAtCurrentFolder = -2;
constexpr int kDarwinAtNoFollow = 0x20;
constexpr int kDarwinAtRemoveFolder = 0x80;
constexpr int kDarwinMapAnonymous = 0x1000;

struct DarwinTimespec {
  int64_t seconds;
  int64_t nanoseconds;
};

struct DarwinStat {
  int32_t device;
  uint16_t mode;
  uint16_t links;
  uint64_t inode;
  uint32_t user;
  uint32_t group;
  int32_t special_device;
  DarwinTimespec accessed, modified, changed, born;
  int64_t size_bytes;
  int64_t blocks;
  int32_t block_bytes;
  uint32_t flags;
  uint32_t generation;
  int32_t spare;
  int64_t spares[2];
};

struct DarwinDirectoryEntry {
  uint64_t inode;
  uint64_t seek_offset;
  uint16_t record_bytes;
  uint16_t name_bytes;
  uint8_t type;
  char name[1024];
};

// --- Processes, users and limits

struct DarwinPasswd {
  char* name;
  char* password;
  uint32_t user;
  uint32_t group;
  int64_t change;
  char* login_class;
  char* gecos;
  char* folder;
  char* shell;
  int64_t expire;
};

struct DarwinSystemName {
  char system[256], node[256], release[256], version[256], machine[256];
};

// What a process's threads are asked for.
constexpr int kDarwinThreadInfo = 5, kDarwinListThreads = 6;
constexpr int32_t kDarwinThreadRuns = 1, kDarwinThreadWaits = 3;

struct DarwinThreadInfo {
  uint64_t user_time, system_time;
  int32_t cpu_usage, policy, run_state, flags, sleep_time, present_priority, priority, most_priority;
  char name[64];
};

// What the system is asked for of a process as a whole.
constexpr int kDarwinAskKernel = 1, kDarwinAskProcess = 14, kDarwinAskByNumber = 1;

struct DarwinProcessInfo {
  uint8_t others[236];
  uint32_t handled_signals;
  uint8_t more[408];
};

struct DarwinTimeval {
  int64_t seconds;
  int32_t microseconds;
};

struct DarwinIntervalTimer {
  DarwinTimeval interval, value;
};

struct DarwinSigaction {
  void* handler;
  uint32_t mask;
  int32_t flags;
};

struct DarwinSiginfo {
  int32_t number;
  int32_t error;
  int32_t code;
  int32_t process;
  uint32_t user;
  int32_t status;
  void* address;
  int64_t value;
  int64_t band;
  uint64_t padding[7];
};

constexpr int kDarwinBlock = 1, kDarwinUnblock = 2, kDarwinSetMask = 3;  // sigprocmask

constexpr int kDarwinOnStack = 0x1, kDarwinRestart = 0x2, kDarwinResetHandler = 0x4, kDarwinNoChildStop = 0x8,
              kDarwinNoDefer = 0x10, kDarwinNoChildWait = 0x20, kDarwinWithInfo = 0x40;

constexpr int kDarwinWaitNoHang = 0x1, kDarwinWaitExited = 0x4, kDarwinWaitStopped = 0x8, kDarwinWaitContinued = 0x10,
              kDarwinWaitNoReap = 0x20;

constexpr int kDarwinLimitCore = 4, kDarwinLimitAddressSpace = 5, kDarwinLimitLocked = 6, kDarwinLimitProcesses = 7,
              kDarwinLimitFiles = 8;
constexpr uint64_t kDarwinLimitInfinite = 0x7fffffffffffffff;

constexpr int kDarwinSysconfArguments = 1, kDarwinSysconfFiles = 5, kDarwinSysconfPageSize = 29,
              kDarwinSysconfProcessors = 58, kDarwinSysconfPasswd = 71;

constexpr int kDarwinClockRealtime = 0, kDarwinClockMonotonicRaw = 4, kDarwinClockMonotonic = 6,
              kDarwinClockUptimeRaw = 8, kDarwinClockProcess = 12, kDarwinClockThread = 16;

// --- Threads: objects start with a signature, and those that a static initialiser makes have one of these.

constexpr int64_t kDarwinMutexInitializer = 0x32AAABA7;
constexpr int64_t kDarwinConditionInitializer = 0x3CB0B1BB;
constexpr int64_t kDarwinOnceInitializer = 0x30B1BCBA;
constexpr size_t kDarwinMutexBytes = 64, kDarwinConditionBytes = 48, kDarwinThreadAttributesBytes = 64,
                 kDarwinMutexAttributesBytes = 16;
constexpr size_t kDarwinThreadStackBytes = size_t{512} * 1024;
constexpr int kDarwinMutexRecursive = 2;

// --- Texts

constexpr int kDarwinCategoryAll = 0, kDarwinCategoryCollate = 1, kDarwinCategoryCtype = 2, kDarwinCategoryMonetary = 3,
              kDarwinCategoryNumeric = 4, kDarwinCategoryTime = 5, kDarwinCategoryMessages = 6;

constexpr uint32_t kDarwinAlpha = 0x100, kDarwinControl = 0x200, kDarwinDigit = 0x400, kDarwinGraph = 0x800,
                   kDarwinLower = 0x1000, kDarwinPunct = 0x2000, kDarwinSpace = 0x4000, kDarwinUpper = 0x8000,
                   kDarwinHexDigit = 0x10000, kDarwinBlank = 0x20000, kDarwinPrint = 0x40000;

struct DarwinRuneRange {
  int32_t count;
  void* entries;
};

struct DarwinRuneLocale {
  char magic[8];
  char encoding[32];
  void* get_rune;
  void* put_rune;
  int32_t invalid_rune;
  uint32_t types[256];
  int32_t lower[256];
  int32_t upper[256];
  DarwinRuneRange type_ranges, lower_ranges, upper_ranges;
  void* variable;
  int32_t variable_bytes;
  int32_t class_count;
  void* classes;
};

// --- Regular expressions

struct DarwinRegex {
  int32_t magic;
  uint64_t groups;
  const char* end;
  void* compiled;
};

struct DarwinRegexMatch {
  int64_t start, end;
};

constexpr int kDarwinRegexExtended = 1, kDarwinRegexIgnoreCase = 2, kDarwinRegexNoGroups = 4, kDarwinRegexNewline = 8;
