// What the recording library does in place of the system's functions. How the launcher comes to call it is a matter of
// the platform: recording_replaced_linux.cpp, recording_replaced_macos.cpp.
#pragma once

#include <sys/types.h>

// Writes down a call of `syslog`. The arguments that belong to the format are left out of account: the launcher has
// none.
void RecordSyslog(int priority, const char* format);

// Calls `system_fork`, slowed down as the environment asks for, and returns its result.
pid_t SlowFork(pid_t (*system_fork)());
