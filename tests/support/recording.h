// Reads what recording_liblogger wrote down.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "liblogger/liblogger.h"
#include "tests/support/files.h"

// A call and its arguments, by the names that they have in the called function's header; those of other functions are
// left as they are here.
struct RecordedCall {
  int64_t milliseconds = 0;
  pid_t process = 0;
  std::string function;  // "LogV", "InitLogger", "GetLogger" or "syslog".

  std::string format;                    // Of LogV and syslog.
  std::string text;                      // Of LogV: the format with its arguments; '?' for line feeds and tabs.
  LOGLEVEL level = LOGLEVEL{};           // Of LogV and GetLogger.
  std::string location;                  // Of InitLogger.
  int reserved = 0;                      // Of GetLogger.
  std::string module;                    // Of GetLogger.
  int priority = 0;                      // Of syslog.
  bool any_standard_stream_open = true;  // When syslog was called.
};

[[maybe_unused]] static std::vector<RecordedCall> ReadRecording(const std::string& path) {
  std::vector<RecordedCall> calls;
  for (const std::string& line : ReadLines(path)) {
    std::vector<std::string> fields(1);
    for (const char c : line) {
      if (c == '\t') {
        fields.emplace_back();
      } else {
        fields.back().push_back(c);
      }
    }
    fields.resize(6);
    const auto number = [&fields](size_t place) { return atoi(fields[place].c_str()); };
    RecordedCall call;
    call.milliseconds = atoll(fields[0].c_str());
    call.process = number(1);
    call.function = fields[2];
    if (call.function == "LogV") {
      call.level = static_cast<LOGLEVEL>(number(3));
      call.format = fields[4];
      call.text = fields[5];
    } else if (call.function == "InitLogger") {
      call.location = fields[3];
    } else if (call.function == "GetLogger") {
      call.reserved = number(3);
      call.module = fields[4];
      call.level = static_cast<LOGLEVEL>(number(5));
    } else if (call.function == "syslog") {
      call.priority = number(3);
      call.format = fields[4];
      call.any_standard_stream_open = number(5) != 0;
    }
    calls.push_back(call);
  }
  return calls;
}

// The calls of LogV whose text contains `part`, from any process.
[[maybe_unused]] static std::vector<RecordedCall> LoggedWith(const std::string& path, const std::string& part) {
  std::vector<RecordedCall> found;
  for (const RecordedCall& call : ReadRecording(path)) {
    if (call.function == "LogV" && call.text.find(part) != std::string::npos) found.push_back(call);
  }
  return found;
}
