// machorun PROGRAM [ARGUMENT...]
//
// Runs the x86_64 slice of a macOS program on x86_64 Linux: maps it and its libraries, and answers what it imports from
// the system's library with the host's C library behind shims for the system's numbers and layouts. A Mach-O program
// that is executed by one goes through this loader, too.
//
// What a run proves: the compiler's and the linker's work, the static C++ library, symbols, bindings, run paths,
// thread-local variables, exceptions through compact unwind information, and the macOS sources of the programs.
// What it does not prove: anything about the system's own C library, kernel, dynamic loader, launchd or code signing,
// nor about Apple's processors. Those are the host's, or not there at all.

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tools/machorun/image.h"
#include "tools/machorun/shims.h"

extern char** environ;

int main(int argc, char** argv) {
  // --exec PATH ARGV0 [ARGUMENT...]: what `execv` becomes here, where the path and the first argument may differ.
  const bool is_exec = argc >= 4 && strcmp(argv[1], "--exec") == 0;
  if (argc < 2 || (argv[1][0] == '-' && !is_exec)) {
    (void)fputs("usage: machorun PROGRAM [ARGUMENT...]\n", stderr);
    return 2;
  }
  const int skipped = is_exec ? 3 : 1;
  const char* const path = is_exec ? argv[2] : argv[1];
  const Image& program = LoadProgram(path);
  SetProgram(path, argc - skipped, argv + skipped);
  RunInitializers(argc - skipped, argv + skipped, environ);
  using Main = int (*)(int, char**, char**, char**);
  exit(FunctionAt<Main>(program.base + program.entry)(argc - skipped, argv + skipped, environ, nullptr));
}
