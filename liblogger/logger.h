// What stands behind an `ILog`: one module's records on their way into its file.
#pragma once

#include <atomic>
#include <cstdint>

#include "liblogger/liblogger.h"
#include "liblogger/log_file.h"
#include "liblogger/record.h"
#include "liblogger/utc_offset.h"

// Never destroyed: threads log until the process is gone. Every logger is known to the process from its construction
// on, so that a forked child can put its copies in order.
class Logger final : public ILog {
 public:
  // Has forked children put their loggers in order. To be called once before there is a logger. Returns 0 or an errno
  // value.
  static int PrepareForForks();

  // Returns the logger that writes to `path`, or null if there is none.
  static Logger* Find(const char* path);

  // Opens the file if that is possible now. `path` and `module` are copied; `offsets` must live for ever.
  Logger(const char* path, const char* module, LOGLEVEL level, const UtcOffsets& offsets, RotationLimits limits);

  void SetLevel(LOGLEVEL level) { threshold = level; }

  __attribute__((format(printf, 3, 0))) void LogV(LOGLEVEL level, const char* format, va_list arguments) override;

 private:
  static void AfterForkInChild();

  bool Passes(LOGLEVEL level) const;
  void Write(const RecordOrigin& origin, const char* format, va_list arguments) __attribute__((format(printf, 3, 0)));

  LogFile file;
  char module_text[kLongestModuleBytes + 1];
  std::atomic<LOGLEVEL> threshold;  // The level from which on records are written.
  const UtcOffsets& utc_offsets;
  std::atomic<uint64_t> lost_records{0};
  std::atomic<int> lost_error{0};
  Logger* next = nullptr;
};
