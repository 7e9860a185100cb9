// A program finds a function in the first library that has it, and the launcher's own come before the system's.

#include <dlfcn.h>

#include "tests/support/recording_liblogger.h"

extern "C" {

__attribute__((visibility("default"))) void syslog(int priority, const char* format, ...) {
  RecordSyslog(priority, format);
}

// What `syslog` becomes where the C library's fortified headers are in use.
__attribute__((visibility("default"))) void __syslog_chk(int priority, int, const char* format, ...) {
  RecordSyslog(priority, format);
}

__attribute__((visibility("default"))) pid_t fork(void) {
  static const auto system_fork = reinterpret_cast<pid_t (*)()>(dlsym(RTLD_NEXT, "fork"));
  return SlowFork(system_fork);
}

}  // extern "C"
