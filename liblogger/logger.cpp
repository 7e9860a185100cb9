#include "liblogger/logger.h"

#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "liblogger/thread_id.h"

static std::atomic<Logger*> g_loggers{nullptr};

// Kept, because asking the kernel costs a tenth of writing a record.
static std::atomic<pid_t> g_process{0};

int Logger::PrepareForForks() {
  g_process = getpid();
  return pthread_atfork(nullptr, nullptr, AfterForkInChild);
}

Logger* Logger::Find(const char* path) {
  Logger* logger = g_loggers;
  while (logger != nullptr && !logger->file.IsAt(path)) logger = logger->next;
  return logger;
}

Logger::Logger(const char* path, const char* module, LOGLEVEL level, const UtcOffsets& offsets, RotationLimits limits)
    : file(path, limits), threshold(level), utc_offsets(offsets) {
  (void)snprintf(module_text, sizeof(module_text), "%s", module);
  file.Open();
  next = g_loggers;
  while (!g_loggers.compare_exchange_weak(next, this)) {
  }
}

void Logger::LogV(LOGLEVEL level, const char* format, va_list arguments) {
  if (!Passes(level)) return;
  const int saved_errno = errno;
  RecordOrigin origin = {{}, 0, level, module_text, g_process, CurrentThreadId()};
  (void)clock_gettime(CLOCK_REALTIME, &origin.time);
  origin.utc_offset_seconds = utc_offsets.At(origin.time.tv_sec);
  Write(origin, format, arguments);
  errno = saved_errno;
}

bool Logger::Passes(LOGLEVEL level) const {
  const LOGLEVEL lowest = threshold.load(std::memory_order_relaxed);
  return lowest == LOGLEVEL_VERBOSE || level >= lowest;
}

void Logger::Write(const RecordOrigin& origin, const char* format, va_list arguments) {
  char bytes[kLongestLossRecordBytes + kLongestRecordBytes];
  size_t loss_bytes = 0;
  uint64_t lost_before = 0;
  if (lost_records.load(std::memory_order_relaxed) > 0) {
    lost_before = lost_records.exchange(0);
    if (lost_before > 0) loss_bytes = FormatLossRecord(origin, lost_before, lost_error, bytes);
  }
  const size_t length = loss_bytes + FormatRecord(origin, format, arguments, bytes + loss_bytes);
  const int64_t now_ns = int64_t{origin.time.tv_sec} * 1000000000 + origin.time.tv_nsec;
  const LogFile::Result result = file.Append(bytes, length, now_ns);
  if (result.error == 0) return;
  lost_error = result.error;
  lost_records += (result.written < loss_bytes ? lost_before : 0) + 1;
}

// Only the forking thread is in the child.
void Logger::AfterForkInChild() {
  g_process = getpid();
  ForgetThreadId();
  for (Logger* logger = g_loggers; logger != nullptr; logger = logger->next) {
    logger->file.AfterFork();
    logger->lost_records = 0;  // The parent's to report.
  }
}
