#include <sys/prctl.h>

#include "tests/support/test_process.h"

void AdoptOrphans() { (void)prctl(PR_SET_CHILD_SUBREAPER, 1); }

void EndWithParent(int signal_number) { (void)prctl(PR_SET_PDEATHSIG, signal_number); }
