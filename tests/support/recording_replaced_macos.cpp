// A program knows of each function which library it comes from. But a library that is loaded with the program can list
// functions that are to take the place of others in all images beside itself.

#include <syslog.h>
#include <unistd.h>

#include "tests/support/recording_liblogger.h"

static void ReplacedSyslog(int priority, const char* format, ...) { RecordSyslog(priority, format); }

static pid_t ReplacedFork() { return SlowFork(&fork); }

// A pair each, as the loader reads them: the new function and the old one.
__attribute__((used, section("__DATA,__interpose"))) static const struct {
  void (*new_syslog)(int, const char*, ...);
  void (*old_syslog)(int, const char*, ...);
  pid_t (*new_fork)();
  pid_t (*old_fork)();
} g_replaced = {&ReplacedSyslog, &syslog, &ReplacedFork, &fork};
