// begin PROGRAM ARGUMENT...: writes down the moment and becomes PROGRAM, in a session of its own. The start of a
// supervisor is measured from here, so that what measure.py itself takes to start a process does not count.
#include "bench/start/record.h"

int main(int argc, char** argv) {
  if (argc < 2) return EXIT_FAILURE;
  (void)setsid();
  WriteRecord(kBegin, -1);
  (void)execv(argv[1], argv + 1);
  return EXIT_FAILURE;
}
