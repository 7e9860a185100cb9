// A logger that remembers what it is given.
#pragma once

#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#include "liblogger/liblogger.h"

// Keeps every record of the process that constructed it, whatever its level. Safe for concurrent use. What a forked
// child logs is dropped, without a lock taken: it would go to the child's copy, which nobody reads.
//
//   RecordingLog log;
//   logger = &log;
//   ...
//   EXPECT_EQ(log.Records().at(0).text, "[LAUNCHER  ] Start to fork sync");
class RecordingLog final : public ILog {
 public:
  struct Record {
    LOGLEVEL level;
    std::string format;  // As it was handed over.
    std::string text;    // The format with its arguments.
  };

  __attribute__((format(printf, 3, 0))) void LogV(LOGLEVEL level, const char* format, va_list arguments) override {
    if (getpid() != owner) return;
    va_list measured;
    va_copy(measured, arguments);
    const int length = vsnprintf(nullptr, 0, format, measured);
    va_end(measured);
    std::string text(length < 0 ? 0 : static_cast<size_t>(length), '\0');
    (void)vsnprintf(text.data(), text.size() + 1, format, arguments);

    const std::lock_guard<std::mutex> lock(mutex);
    records.push_back({level, format, text});
  }

  // A copy of what has been recorded so far, in order.
  std::vector<Record> Records() const {
    const std::lock_guard<std::mutex> lock(mutex);
    return records;
  }

 private:
  const pid_t owner = getpid();
  mutable std::mutex mutex;
  std::vector<Record> records;
};
