// What the logging library's tests share.
#pragma once

#include <sys/types.h>

#include <cstdarg>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "liblogger/liblogger.h"
#include "tests/support/files.h"
#include "tests/support/temp_folder.h"

__attribute__((format(printf, 3, 4))) void Log(ILog* log, LOGLEVEL level, const char* format, ...);

// The message of a record's line, and of all the lines of a file.
std::string MessageOf(const std::string& line);
std::vector<std::string> ReadMessages(const std::filesystem::path& file);

// Whether the line has all the columns of a record.
bool IsRecord(const std::string& line);

// Makes a logger of `module` in the folder and returns it; null if that fails. Here, because the tests of the
// library's rooms don't have its two functions.
inline ILog* MakeLogger(const std::filesystem::path& location, const char* module, LOGLEVEL level) {
  ILog* log = nullptr;
  if (InitLogger(location.c_str()) == 0) (void)GetLogger(2, module, level, &log);
  return log;
}

// Runs `body` in a forked child and returns its result, which is below 200; 200 and the signal's number if a signal
// ended the child, and 255 if it did not end in time (`kDeadline`).
int RunInChild(const std::function<int()>& body);

// Waits for a child, and ends it when that takes too long. Returns as `RunInChild`.
int WaitForChild(pid_t child);

// The numbers of the open descriptors.
std::vector<int> OpenDescriptors();

// Mounts a file system of `bytes` on `folder` that only the calling process sees; false where that can't be done.
bool MountSmallDisk(const std::filesystem::path& folder, const char* bytes);

// Whether the first thread of a process has its number.
extern const bool kFirstThreadHasProcessNumber;
