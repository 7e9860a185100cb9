// Tells where the running executable lies.
#pragma once

#include <cstdint>
#include <string>

// Writes the path of the running executable, as the platform gives it and with a NUL, into the `*size` bytes at
// `buffer`. Returns 0, or a negative value when the path does not fit or can't be had; `buffer` is left alone then.
// `*size` is in and out: when the path does not fit it receives the number of bytes that are needed, if the
// platform can tell. Neither pointer may be null. Safe to call from any thread.
//
//   char path[1024];
//   uint32_t size = sizeof(path);
//   if (GetExecutablePath(path, &size) == 0) puts(path);
int GetExecutablePath(char* buffer, uint32_t* size);

// Returns the folder of the running executable, without a trailing '/': not the working directory, despite the
// name. Symbolic links and ".." in it are left as the platform gives them. Empty when the path has 1025 bytes or
// more with its NUL, and for an executable directly under the root folder. Throws only what allocation throws; safe to
// call from any thread.
std::string GetCurrentPath();
