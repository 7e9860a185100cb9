// Reads whole files that may be anything: each is looked at first, so that a folder, a FIFO or a device in the place of
// a file is told apart and never waited on.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <ctime>
#include <string>

struct FileContent {
  enum class State {
    kRead,
    kMissing,     // Neither the file nor, perhaps, its folder exists.
    kUnreadable,  // It exists, or may; `reason` is the system's.
    kNotAFile,    // `reason` says what stands there: "a folder", "a FIFO", ...
    kTooLarge,    // Beyond what was asked for; `reason` says how much that is.
  };
  State state = State::kRead;
  std::string bytes;
  std::string reason;
  mode_t mode = 0;      // The permissions of what stands there, and
  time_t modified = 0;  // when it was changed last; 0 where nothing does.
};

// Reads the regular file at `path`, following links, up to `most_bytes`. Never waits. Safe to call from any thread.
FileContent ReadRegularFile(const std::string& path, size_t most_bytes);
