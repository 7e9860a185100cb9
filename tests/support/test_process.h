// What the platform offers to keep a test's processes together.
#pragma once

#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

// Makes the test program the new parent of what its launchers leave behind, where the platform allows that, so that a
// test can reap it whatever the machine's init process does.
void AdoptOrphans();

// Has the calling process receive `signal_number` when its parent ends, so that a test program that is killed leaves
// nothing behind. Does nothing where the platform has no such thing.
void EndWithParent(int signal_number);

// Returns whether this process may become that user. In a container root has a few users alone, maybe.
inline bool CanBecomeUser(uid_t user) {
  const pid_t child = fork();
  if (child == 0) _exit(setgid(static_cast<gid_t>(user)) == 0 && setuid(user) == 0 ? 0 : 1);
  int status = 0;
  return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}

// Returns whether a library that is loaded first takes the place of the system's functions by defining their names. On
// macOS a program knows of each function which library it comes from.
bool LibrariesReplaceSystemFunctions();

// Returns whether a limit on a user's processes limits the threads, too.
bool ThreadsCountAsProcesses();

// Returns whether `process` has a handler for SIGTERM: before, one that comes ends it.
bool HandlesSigterm(pid_t process);

// Returns whether the main thread of `process` is waiting for another thread to wake it and admits SIGTERM meanwhile,
// as far as the platform tells. A launcher that still starts its children waits as well sometimes, but does not admit
// it.
bool MainThreadWaits(pid_t process);

// Returns whether it is at each of several looks: once could be a lock that is held for a moment.
inline bool MainThreadKeepsWaiting(pid_t process) {
  for (int times = 0; times < 20; ++times) {
    if (!MainThreadWaits(process)) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}
