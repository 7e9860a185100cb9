// Reads what recording_liblogger wrote down.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/support/files.h"

struct RecordedCall {
  int64_t milliseconds;
  pid_t process;
  std::string call;
  int number;          // LogV: the level. GetLogger: its first argument. syslog: the priority.
  std::string first;   // LogV and syslog: the format. InitLogger: the location. GetLogger: the module.
  std::string second;  // LogV: the formatted text. GetLogger: the level. syslog: "open" or "closed" standard streams.
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
    calls.push_back(
        {atoll(fields[0].c_str()), atoi(fields[1].c_str()), fields[2], atoi(fields[3].c_str()), fields[4], fields[5]});
  }
  return calls;
}

// The calls of LogV whose text contains `part`, from any process.
[[maybe_unused]] static std::vector<RecordedCall> LoggedWith(const std::string& path, const std::string& part) {
  std::vector<RecordedCall> found;
  for (const RecordedCall& call : ReadRecording(path)) {
    if (call.call == "LogV" && call.second.find(part) != std::string::npos) found.push_back(call);
  }
  return found;
}
