// The logging library's interface: all that a program sees of it.
//
// A program calls `InitLogger` once, `GetLogger` once for each module, and from then on hands records to `LogV`.
//
// Threads: `InitLogger` and `GetLogger` may be called from any thread, one at a time. `LogV` may be called from any
// number of threads at once.
// Fork: a forked child may call `LogV` at any time, whatever the parent's threads were doing at the fork; its records
// go to the same file and carry its own process id. The file does not survive `execv`.
// Lifetime: an `ILog` lives as long as the process. It is never destroyed, not even while the process exits, so
// threads may log until the very end.
// Only C types, a `va_list` and the pointer cross this interface, and no exception leaves it.
#pragma once

#include <stdarg.h>

// How grave a record is, and what a logger lets through: everything at or above its own level. The numbers are fixed,
// because settings files and other programs use them.
enum LOGLEVEL : int {
  LOGLEVEL_DEBUG = 1,
  LOGLEVEL_MESSAGE = 2,
  LOGLEVEL_WARNING = 4,
  LOGLEVEL_ERROR = 8,
  LOGLEVEL_CRITICAL = 16,
  // Not a further bit but 16 + 1: as a logger's level it lets everything through, DEBUG included.
  LOGLEVEL_VERBOSE = 17,
};

// Where one module's records go. Handed out by `GetLogger` and owned by the library.
class ILog {
 public:
  // Formats `format` with `arguments` as `vprintf` does and writes the result as one record, if `level` passes the
  // logger's. Takes no lock, allocates nothing of its own, and leaves `errno` as it was. A record that can't be
  // written is dropped.
  __attribute__((format(printf, 3, 0))) virtual void LogV(LOGLEVEL level, const char* format, va_list arguments) = 0;

 protected:
  ~ILog() = default;
};

#define LIBLOGGER_API __attribute__((visibility("default")))

extern "C" {

// Makes the folder `location`, with its parents, where it is missing, and has every later `GetLogger` put its files
// there. Returns 0, or an errno value that says why the folder can't be used; an earlier location stays in force then.
LIBLOGGER_API int InitLogger(const char* location);

// Opens `<location>/<module>.log` for appending and sets `*log` to its logger, which lets records at or above
// `level` through. The first argument is part of the interface and not used. Returns 0, or an errno value, `*log`
// being left alone then.
//
//   ILog* log = nullptr;
//   if (InitLogger("/Users/u/Library/Logs/S/qz3log") == 0) GetLogger(2, "launcher", LOGLEVEL_ERROR, &log);
LIBLOGGER_API int GetLogger(int reserved, const char* module, LOGLEVEL level, ILog** log);

}  // extern "C"
