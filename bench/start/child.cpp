// child [ID]: the program that everybody supervises. Writes down that it runs, and sleeps until it is killed; with
// BENCH_LIFE_MS that many milliseconds and up to 600 more, by its number, so that not all end at once, and then writes
// down its end.
//
// Without an ID it is the name of the folder that it is started in, as supervisors do that take a folder a service.
#include <string.h>

#include "bench/start/record.h"

static int IdOf(const char* argument) {
  if (argument != nullptr) return atoi(argument);
  static char folder[4096];
  if (getcwd(folder, sizeof(folder)) == nullptr) return -1;
  return atoi(strrchr(folder, '/') + 1);
}

int main(int, char** argv) {
  const int id = IdOf(argv[1]);
  WriteRecord(kStart, id);
  const char* const life = getenv("BENCH_LIFE_MS");
  if (life != nullptr) {
    (void)usleep((static_cast<useconds_t>(atoi(life)) + static_cast<useconds_t>(id) * 37 % 600) * 1000);
    WriteRecord(kEnd, id);
    return EXIT_SUCCESS;
  }
  for (;;) (void)pause();
}
