// The logging call of the whole program, and the handle that it goes through.
#pragma once

#include <cstdarg>

#include "liblogger/liblogger.h"

// Where the process logs to; null until its logger has been started, and never released. Written once, before the
// process starts its threads, and read by all of them without synchronisation.
extern ILog* logger;

// Hands one record to `log`; does nothing when `log` is null. `format` is printf's, and must be a literal: a name or
// a path belongs into the arguments. Each file that includes this header has a copy of its own.
//
// Safe from any thread and between `fork` and `execv`, as far as `log` is; the library's own is.
//
//   __LOG__A(logger, LOGLEVEL_ERROR, "[LAUNCHER  ] Failed to open file %s", path.c_str());
[[maybe_unused]] __attribute__((format(printf, 3, 4))) static void __LOG__A(ILog* log, LOGLEVEL level,
                                                                            const char* format, ...) {
  if (log == nullptr) return;
  va_list arguments;
  va_start(arguments, format);
  log->LogV(level, format, arguments);
  va_end(arguments);
}
