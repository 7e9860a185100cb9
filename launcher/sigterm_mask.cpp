#include "launcher/sigterm_mask.h"

#include <pthread.h>

static sigset_t CurrentMask() {
  sigset_t mask;
  (void)pthread_sigmask(SIG_SETMASK, nullptr, &mask);
  return mask;
}

// Taken before `main`, and constant from then on.
static const sigset_t g_initial_mask = CurrentMask();

static sigset_t OnlySigterm() {
  sigset_t mask;
  (void)sigemptyset(&mask);
  (void)sigaddset(&mask, SIGTERM);
  return mask;
}

void BlockSigterm() {
  const sigset_t sigterm = OnlySigterm();
  (void)pthread_sigmask(SIG_BLOCK, &sigterm, nullptr);
}

void MeetSigterm() { const SigtermAdmitted now; }

void RestoreSignalMask() { (void)pthread_sigmask(SIG_SETMASK, &g_initial_mask, nullptr); }

SigtermBlocked::SigtermBlocked() : previous(CurrentMask()) { BlockSigterm(); }

SigtermBlocked::~SigtermBlocked() { (void)pthread_sigmask(SIG_SETMASK, &previous, nullptr); }

SigtermAdmitted::SigtermAdmitted() : previous(CurrentMask()) { RestoreSignalMask(); }

SigtermAdmitted::~SigtermAdmitted() { (void)pthread_sigmask(SIG_SETMASK, &previous, nullptr); }
