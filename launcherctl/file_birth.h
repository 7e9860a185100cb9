// When a file was made. A platform's answer is a file each.
#pragma once

#include <cstdint>

// Returns when the file behind `descriptor` was made, in milliseconds since 1970 UTC, or 0 where the file system does
// not tell. Safe to call from any thread.
int64_t FileBirthMs(int descriptor);
