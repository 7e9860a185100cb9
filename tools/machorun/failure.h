// How the loader itself gives up.
#pragma once

// Writes "machorun: TEXT" to the standard error and ends the process with status 127. `format` is that of `printf`.
[[noreturn]] __attribute__((format(printf, 1, 2))) void Fail(const char* format, ...);
