// What a supervisor's forked child needs that the process which it was forked from does not: to leave the launcher's
// handling of SIGTERM behind, and to end without the launcher's clean-up.
//
// The child is a copy of the launcher with one thread. As long as it has not become a program, it must not run the
// launcher's handler, which would kill its siblings, and must not destroy the globals: the copy of `g_child_map` would
// send SIGKILL to the siblings and, by its own entry's stored 0, to the launcher's whole process group, and the copy
// of a condition variable that `main` waits on would wait for that `main`, which the child does not have.
#pragma once

#include <sys/types.h>

// Ends the forked child with status 0, and destroys nothing. Without it the return of the last thread would be an
// `exit`, in a copy of a launcher that may be in the midst of its own.
[[noreturn]] void EndForkedChild();

// `fork` for a restart: restarts of this process take turns. A fork takes longer the more threads there are, and the
// system serves the threads of a process one after the other; when hundreds of programs end at once, an item that is
// started for the first time, by a plain `fork`, waits for one restart and not for all of them. In a forked child it is
// a plain `fork` itself. Takes a lock outside of forked children.
pid_t ForkInTurn();

// The child's first act: SIGTERM gets its default action, and the signal mask is again the one that the launcher was
// started with. Every other signal is as the launcher has it; handlers vanish with `execv`.
void BeginForkedChild();

// Whether this process is such a child. It stays one for good.
bool IsForkedChild();
