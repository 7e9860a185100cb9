// The logging library's interface: all that a program sees of it.
//
// A program calls `InitLogger` once, `GetLogger` once for each module, and from then on hands records to `LogV`. The
// files, the record's columns, rotation and what happens on faults are described in liblogger(7). Only C types, a
// `va_list` and the pointer cross this interface, and no exception leaves it.
//
// Threads: every function here may be called by any number of threads at once. `LogV` takes no lock and waits for
// nothing but its own `write`.
//
// Fork: a forked child may call `LogV` at any time, whatever the parent's threads were doing at the fork; its records
// go to the same file and carry its own process id. `InitLogger` and `GetLogger` take a lock, and are not for a child
// that was forked while another thread was in one of them. The file does not survive `execv`. A child that is forked
// while another thread opens or rotates a file has one more close-on-exec descriptor. A child of `vfork` must not log.
//
// Signals: a signal handler may call `LogV` with a format that `vsnprintf` formats without the heap, which is true of
// texts, characters and integers. A process that writes beyond its file size limit (RLIMIT_FSIZE) is sent SIGXFSZ,
// which ends it by default: if SIGXFSZ has its default action when `InitLogger` is called, it gets a handler that does
// nothing, in the whole process and until `execv`; any other action is left alone. A program that restores the default
// later ends at such a write.
//
// Local time: the first `InitLogger` reads the file of the time zone, because the C library's time-zone functions take
// a lock. So the offset from UTC changes with daylight saving for as long as the process lives, and a new time zone of
// the machine is seen by the next process. Where the C library has another answer than the file, its offset of that
// moment is kept.
//
// Lifetime: an `ILog` lives as long as the process. It is never destroyed, not even while the process exits, so
// threads may log until the very end. The library stays loaded even if `dlclose` is called.
//
// Ownership: whatever is passed in is only read during the call. The library owns its loggers and their descriptors:
// one for each logger, numbered 3 or above, close-on-exec. If a program closes one, the next record opens another, also
// where the number is that of another file by then. Only a record that follows the one before at once, on the same
// thread, may still go to that number, for 50 microseconds: close descriptors while no thread logs.
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
  // logger's. Of a message longer than 4096 bytes, the whole characters that fit are written, and " [cut]".
  //
  // Takes no lock, allocates nothing of its own, and leaves `errno` as it was. A record that can't be written is
  // dropped and counted; the next one that can be is preceded by a record with their number.
  __attribute__((format(printf, 3, 0))) virtual void LogV(LOGLEVEL level, const char* format, va_list arguments) = 0;

 protected:
  ~ILog() = default;
};

#define LIBLOGGER_API __attribute__((visibility("default")))

extern "C" {

// Makes the folder `location`, with its parents, where it is missing, and has every later `GetLogger` put its files
// there; loggers that were handed out before keep theirs. Returns 0 if a record could be written there, which is
// tried with a file that is removed again, and otherwise an errno value: EINVAL if `location` is null or not an
// absolute path, ENAMETOOLONG, or what the system answered. An earlier location stays in force then.
//
// The place of a log may be taken there: by a symbolic link (ELOOP), a folder (EISDIR) or anything else but a regular
// file (EINVAL) whose name ends in ".log". Nothing is ever written to such a thing, and a record that is lost can't
// tell of itself, so this is told here.
LIBLOGGER_API int InitLogger(const char* location);

// Sets `*log` to the logger of `<location>/<module>.log`, which lets records at or above `level` through. Asked again
// for the same module and location, it gives the same logger, with the new level. A file that can't be opened at the
// moment is no error: the logger tries again with each record.
//
// `module` consists of 1 to 64 letters, digits, dots, hyphens and underscores of ASCII, and does not begin with a dot.
// The first argument is part of the interface and not used. Returns 0 or, `*log` being left alone, EINVAL if an
// argument is null or `module` is no such name, ENOENT before the first `InitLogger` that returned 0, or ENOMEM.
//
//   ILog* log = nullptr;
//   if (InitLogger("/Users/u/Library/Logs/S/qz3log") == 0) GetLogger(2, "launcher", LOGLEVEL_ERROR, &log);
LIBLOGGER_API int GetLogger(int reserved, const char* module, LOGLEVEL level, ILog** log);

}  // extern "C"
