#include "launcher/forked_child.h"

#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include "launcher/sigterm_mask.h"

static bool g_is_forked_child = false;

static void EndForkedChild() {
  if (g_is_forked_child) _exit(0);
}

// Handlers run in reverse: this one, registered after every global's destructor, is called before them.
void RegisterEndOfForkedChildren() {
  static const int registered = atexit(&EndForkedChild);
  (void)registered;  // It can't fail for the first 32 handlers.
}

// The order matters: until SIGTERM has its default action, it must stay blocked.
void BeginForkedChild() {
  (void)signal(SIGTERM, SIG_DFL);
  RestoreSignalMask();
  g_is_forked_child = true;
}

bool IsForkedChild() { return g_is_forked_child; }
