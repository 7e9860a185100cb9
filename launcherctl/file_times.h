// When a file was made and changed. A platform's answer is a file each. Safe to call from any thread.
#pragma once

#include <cstdint>
#include <string>

// Returns when the file behind `descriptor` was made, in milliseconds since 1970 UTC, or 0 where the file system does
// not tell.
int64_t FileBirthMs(int descriptor);

// Returns when what is at `path` was changed last, links followed, or 0 where nothing is.
int64_t FileModifiedMs(const std::string& path);
