// What the programs of this folder write down, and measure.py reads.
#pragma once

#include <fcntl.h>
#include <stdint.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

enum Kind : int32_t { kBegin, kStart, kEnd };

// One event. `id` is the program's number in the list; times are nanoseconds, those of `cpu` since the process's fork.
struct Record {
  int64_t moment;
  int64_t cpu;
  int32_t id;
  int32_t pid;
  int32_t kind;
  int32_t unused;
};

static inline int64_t Now(clockid_t clock) {
  timespec now = {};
  (void)clock_gettime(clock, &now);
  return int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

// Appends an event to the file that BENCH_RECORDS names, with one `write`. Ends the process when that fails, so that an
// event is missing and measure.py says so.
static inline void WriteRecord(Kind kind, int id) {
  Record record = {};
  record.cpu = Now(CLOCK_PROCESS_CPUTIME_ID);
  record.id = id;
  record.pid = getpid();
  record.kind = kind;
  const char* const path = getenv("BENCH_RECORDS");
  const int file = path == nullptr ? -1 : open(path, O_WRONLY | O_APPEND | O_CLOEXEC);
  record.moment = Now(CLOCK_MONOTONIC);
  if (file < 0 || write(file, &record, sizeof(record)) != ssize_t{sizeof(record)}) _exit(EXIT_FAILURE);
  (void)close(file);
}
