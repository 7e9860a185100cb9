#include "tests/support/test_process.h"

// launchd reaps every orphan at once.
void AdoptOrphans() {}

void EndWithParent(int) {}

bool MainThreadWaits(pid_t) { return true; }

bool LibrariesReplaceSystemFunctions() { return false; }
