// Lays out one log record.
#pragma once

#include <sys/types.h>

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <ctime>

#include "liblogger/liblogger.h"

// A message's longest text in bytes, before control characters are written as escapes. What is longer is cut at a
// character's end and marked.
static constexpr size_t kLongestMessageBytes = 4096;

// Large enough for the columns, a message of nothing but escapes (\xHH), the mark and the line feed.
static constexpr size_t kLongestRecordBytes = 256 + 4 * kLongestMessageBytes;

// What stands before the message.
struct RecordOrigin {
  timespec time;
  long utc_offset_seconds;
  LOGLEVEL level;
  const char* module;  // At most 64 bytes.
  pid_t process;
  uint64_t thread;
};

// Writes one record with its line feed, and without a NUL, into `record` and returns its length in bytes:
//
//   2026-11-20T21:39:00.123+01:00 ERROR    launcher     4711     4712 [LAUNCHER  ] Failed to fork sync
//
// The columns are the local time with milliseconds and its offset from UTC, the level, the module, the process and the
// thread. Control characters in the message are written as escapes (\n, \t, \r, \xHH), so that a record is one line
// whatever a message holds. A message that can't be formatted is replaced by its format.
//
// Uses nothing but its arguments and the stack, takes no lock, allocates nothing of its own; safe after `fork`.
__attribute__((format(printf, 2, 0))) size_t FormatRecord(const RecordOrigin& origin, const char* format,
                                                          va_list arguments, char (&record)[kLongestRecordBytes]);
