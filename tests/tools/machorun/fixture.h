// What the fixtures share: small programs, each of which uses one thing that machorun has to provide. Their main
// returns 0 when all held; a line says what did not. They are compiled for this system, too, where they show that the
// fault would be machorun's.
#pragma once

#include <stdio.h>
#include <stdlib.h>

inline void Expect(bool holds, const char* what, int line) {
  if (holds) return;
  (void)fprintf(stderr, "line %d: not so: %s\n", line, what);
  exit(1);
}

#define EXPECT(condition) Expect(condition, #condition, __LINE__)
