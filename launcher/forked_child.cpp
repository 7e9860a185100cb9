#include "launcher/forked_child.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include "launcher/sigterm_mask.h"

static bool g_is_forked_child = false;

void EndForkedChild() { _exit(0); }

// Has no destructor, because supervisors run until the very end of the process.
static pthread_mutex_t g_restart_turn = PTHREAD_MUTEX_INITIALIZER;

// In the child of a plain `fork` the copy of the lock may be taken for good, so forked children don't use it.
pid_t ForkInTurn() {
  if (g_is_forked_child) return fork();
  (void)pthread_mutex_lock(&g_restart_turn);
  const pid_t pid = fork();
  if (pid != 0) (void)pthread_mutex_unlock(&g_restart_turn);
  return pid;
}

// The order matters: until SIGTERM has its default action, it must stay blocked.
void BeginForkedChild() {
  (void)signal(SIGTERM, SIG_DFL);
  RestoreSignalMask();
  g_is_forked_child = true;
}

bool IsForkedChild() { return g_is_forked_child; }
