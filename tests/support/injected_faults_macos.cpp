// The counterpart of injected_faults_linux.cpp: on macOS a program knows of each function which library it comes from,
// so a preloaded library takes nothing's place. Nothing is injected, and the tests that need it are skipped.

extern "C" const int pellux_injects_nothing = 0;
