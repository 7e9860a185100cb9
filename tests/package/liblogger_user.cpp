// Logs "written by a user" through liblogger, into the folder that is its argument.

#include <cstdarg>

#include "liblogger/liblogger.h"

static void Log(ILog* log, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  log->LogV(LOGLEVEL_ERROR, format, arguments);
  va_end(arguments);
}

int main(int argc, char** argv) {
  if (argc != 2 || InitLogger(argv[1]) != 0) return 1;
  ILog* log = nullptr;
  if (GetLogger(2, "user", LOGLEVEL_DEBUG, &log) != 0) return 2;
  Log(log, "written by a %s", "user");
  return 0;
}
