#include "tools/machorun/failure.h"

#include <unistd.h>
#include <cstdarg>
#include <cstdio>

void Fail(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  (void)fputs("machorun: ", stderr);
  (void)vfprintf(stderr, format, arguments);
  (void)fputc('\n', stderr);
  va_end(arguments);
  constexpr int kCannotRun = 127;
  _exit(kCannotRun);
}
