// Lays out one log record.
#pragma once

#include <sys/types.h>

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <ctime>

#include "liblogger/liblogger.h"

static constexpr size_t kLongestModuleBytes = 64;

// A message's longest text in bytes, before escapes are written. What is longer is cut at a character's end and marked.
static constexpr size_t kLongestMessageBytes = 4096;

// Large enough for the columns, a message of nothing but escapes (\xHH), the mark and the line feed.
static constexpr size_t kLongestRecordBytes = 256 + 4 * kLongestMessageBytes;

// Large enough for the record that tells of lost ones.
static constexpr size_t kLongestLossRecordBytes = 384;

// What stands before the message.
struct RecordOrigin {
  timespec time;
  long utc_offset_seconds;
  LOGLEVEL level;
  const char* module;  // At most `kLongestModuleBytes` long.
  pid_t process;
  uint64_t thread;
};

// Writes one record with its line feed, and without a NUL, to `record`, which has room for `kLongestRecordBytes`, and
// returns its length in bytes:
//
//   2026-11-20T21:39:00.123+01:00 ERROR    launcher     4711     4712 [LAUNCHER  ] Failed to fork sync
//
// The columns are the local time with milliseconds and its offset from UTC, the level, the module, the process and the
// thread. A level without a name is shown as its number.
//
// A record is one line of UTF-8 that a terminal can show, whatever the message holds: control characters, those above
// 0x7F included, the line and paragraph separators (U+2028, U+2029), the characters that change the direction of text
// (U+061C, U+200E, U+200F, U+202A to U+202E, U+2066 to U+2069) and bytes that are not UTF-8 are written byte by byte as
// escapes (\n, \t, \r, \xHH). A backslash stays as it is.
// Of a message that is longer than `kLongestMessageBytes`, " [cut]" follows the whole characters that fit. A message
// that can't be formatted is replaced by "(unformattable) " and its format, and a null format by "(null)".
//
// Uses nothing but its arguments and the stack, takes no lock, allocates nothing of its own; safe after `fork`.
__attribute__((format(printf, 2, 0))) size_t FormatRecord(const RecordOrigin& origin, const char* format,
                                                          va_list arguments, char* record);

// Like `FormatRecord`, for the record of level ERROR that says that `count` records were lost, and the errno value
// that the last of them met. `record` has room for `kLongestLossRecordBytes`. The level of `origin` is not used.
size_t FormatLossRecord(const RecordOrigin& origin, uint64_t count, int error, char* record);
