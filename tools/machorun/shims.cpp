#include "tools/machorun/shims.h"

#include <dlfcn.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include <map>

#include "tools/machorun/failure.h"

// Functions that both systems agree on, down to the numbers in their arguments and results. Named one by one: the host
// has a function for most names, and some would be answered with another layout.
static const char* const kSame[] = {
    "_Exit",
    "_Unwind_Backtrace",
    "_Unwind_DeleteException",
    "_Unwind_GetCFA",
    "_Unwind_GetDataRelBase",
    "_Unwind_GetIP",
    "_Unwind_GetIPInfo",
    "_Unwind_GetLanguageSpecificData",
    "_Unwind_GetRegionStart",
    "_Unwind_GetTextRelBase",
    "_Unwind_RaiseException",
    "_Unwind_Resume",
    "_Unwind_Resume_or_Rethrow",
    "_Unwind_SetGR",
    "_Unwind_SetIP",
    "__cxa_atexit",
    "__memcpy_chk",
    "__memmove_chk",
    "__memset_chk",
    "__snprintf_chk",
    "__stack_chk_fail",
    "__stpcpy_chk",
    "__strcat_chk",
    "__strcpy_chk",
    "__strncat_chk",
    "__strncpy_chk",
    "__vsnprintf_chk",
    "_exit",
    "abort",
    "access",
    "alarm",
    "aligned_alloc",
    "arc4random",
    "arc4random_buf",
    "atoi",
    "atol",
    "atoll",
    "bsearch",
    "calloc",
    "catclose",
    "catgets",
    "catopen",
    "ceil",
    "ceilf",
    "chdir",
    "chmod",
    "chown",
    "clearerr",
    "close",
    "closedir",
    "dirfd",
    "dup",
    "dup2",
    "exit",
    "fabs",
    "fchmod",
    "fchown",
    "fclose",
    "fdopen",
    "feof",
    "ferror",
    "fflush",
    "fgets",
    "fileno",
    "flock",
    "floor",
    "fmod",
    "fopen",
    "fork",
    "fprintf",
    "fputc",
    "fputs",
    "fputwc",
    "fputws",
    "fread",
    "free",
    "freopen",
    "fseek",
    "fseeko",
    "fsync",
    "ftell",
    "ftello",
    "ftruncate",
    "fwrite",
    "getc",
    "getcwd",
    "getegid",
    "getenv",
    "geteuid",
    "getgid",
    "gethostname",
    "getline",
    "getpgid",
    "getpgrp",
    "getpid",
    "getppid",
    "getsid",
    "getuid",
    "getwc",
    "gmtime",
    "gmtime_r",
    "initgroups",
    "isatty",
    "isprint",
    "lchown",
    "ldexp",
    "link",
    "llround",
    "localtime",
    "localtime_r",
    "log",
    "log10",
    "lround",
    "lseek",
    "malloc",
    "memchr",
    "memcmp",
    "memcpy",
    "memmem",
    "memmove",
    "memset",
    "mkdir",
    "mkdtemp",
    "mkfifo",
    "mkostemp",
    "mkstemp",
    "mktime",
    "munmap",
    "nanosleep",
    "pause",
    "pclose",
    "pipe",
    "poll",
    "posix_memalign",
    "pow",
    "pread",
    "printf",
    "putc",
    "putchar",
    "putenv",
    "puts",
    "pwrite",
    "qsort",
    "rand",
    "random",
    "read",
    "readlink",
    "realloc",
    "remove",
    "rename",
    "rewind",
    "rmdir",
    "round",
    "sched_yield",
    "setbuf",
    "setegid",
    "setenv",
    "seteuid",
    "setgid",
    "setgroups",
    "setpgid",
    "setregid",
    "setreuid",
    "setsid",
    "setuid",
    "setvbuf",
    "sleep",
    "snprintf",
    "sprintf",
    "srand",
    "sscanf",
    "stpcpy",
    "strcasecmp",
    "strcat",
    "strchr",
    "strcmp",
    "strcoll",
    "strcpy",
    "strcspn",
    "strdup",
    "strftime",
    "strlen",
    "strncasecmp",
    "strncat",
    "strncmp",
    "strncpy",
    "strndup",
    "strnlen",
    "strpbrk",
    "strrchr",
    "strsep",
    "strspn",
    "strstr",
    "strtod",
    "strtof",
    "strtoimax",
    "strtok_r",
    "strtol",
    "strtold",
    "strtoll",
    "strtoul",
    "strtoull",
    "swprintf",
    "symlink",
    "system",
    "time",
    "timegm",
    "tolower",
    "toupper",
    "towlower",
    "towupper",
    "trunc",
    "truncate",
    "ttyname",
    "tzset",
    "umask",
    "ungetc",
    "ungetwc",
    "unlink",
    "unsetenv",
    "usleep",
    "vasprintf",
    "vfprintf",
    "vprintf",
    "vsnprintf",
    "vsscanf",
    "vswprintf",
    "wcscmp",
    "wcscpy",
    "wcslen",
    "wcsncmp",
    "wcsstr",
    "wmemchr",
    "wmemcmp",
    "wmemcpy",
    "wmemmove",
    "wmemset",
    "write",
};

using Symbols = std::map<std::string, void*>;

static Symbols MakeSymbols() {
  Symbols symbols;
  for (const char* name : kSame) {
    void* const address = dlsym(RTLD_DEFAULT, name);
    if (address != nullptr) symbols["_" + std::string(name)] = address;
  }
  for (const Shim* table : {FileShims(), ProcessShims(), SignalShims(), TextShims(), ThreadShims()}) {
    for (; table->name != nullptr; ++table) symbols[table->name] = table->address;
  }
  return symbols;
}

static void MissingFunction(const char* name) { Fail("the program calls %s, which is not known here", name); }

// Makes a function that names itself and ends the process.
static void* MakeMissing(const std::string& name) {
  static uint8_t* room = nullptr;
  static size_t left = 0;
  constexpr size_t kRoomBytes = size_t{64} * 1024;
  constexpr size_t kFunctionBytes = 32;
  if (left < kFunctionBytes) {
    void* const made =
        mmap(nullptr, kRoomBytes, PROT_READ | PROT_WRITE | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (made == MAP_FAILED) Fail("no memory");
    room = static_cast<uint8_t*>(made);
    left = kRoomBytes;
  }
  uint8_t* const function = room;
  room += kFunctionBytes;
  left -= kFunctionBytes;
  const char* const text = strdup(name.c_str());
  void (*const target)(const char*) = &MissingFunction;
  // and rsp, -16; mov rdi, text; mov rax, target; call rax
  static constexpr uint8_t kCode[] = {0x48, 0x83, 0xe4, 0xf0, 0x48, 0xbf, 0, 0, 0, 0, 0, 0,    0,
                                      0,    0x48, 0xb8, 0,    0,    0,    0, 0, 0, 0, 0, 0xff, 0xd0};
  memcpy(function, kCode, sizeof(kCode));
  memcpy(function + 6, &text, sizeof(text));
  memcpy(function + 16, &target, sizeof(target));
  return function;
}

void* SystemSymbol(const std::string& name, bool may_be_missing) {
  static Symbols& symbols = *new Symbols(MakeSymbols());
  const auto found = symbols.find(name);
  if (found != symbols.end()) return found->second;
  if (may_be_missing) return nullptr;
  return symbols[name] = MakeMissing(name);
}
