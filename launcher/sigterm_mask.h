// When SIGTERM may interrupt which thread. Its handler frees memory and joins threads, so it runs on the main thread
// only, and there only where that holds nothing.
//
// Each of these acts on the calling thread. Where this process was started with SIGTERM blocked, it stays blocked.
#pragma once

#include <signal.h>

// Blocks SIGTERM from now on: one that comes stays pending.
void BlockSigterm();

// Handles a SIGTERM that is pending, before it returns.
void MeetSigterm();

// Back to the signal mask that this process was started with.
void RestoreSignalMask();

// Blocks SIGTERM while it exists. A thread that is created meanwhile is born with it blocked.
class SigtermBlocked {
 public:
  SigtermBlocked();
  ~SigtermBlocked();
  SigtermBlocked(const SigtermBlocked&) = delete;
  SigtermBlocked& operator=(const SigtermBlocked&) = delete;

 private:
  sigset_t previous;
};

// Lets SIGTERM through while it exists, a pending one first.
class SigtermAdmitted {
 public:
  SigtermAdmitted();
  ~SigtermAdmitted();
  SigtermAdmitted(const SigtermAdmitted&) = delete;
  SigtermAdmitted& operator=(const SigtermAdmitted&) = delete;

 private:
  sigset_t previous;
};
