// How long the long tests run, and what they tell.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

// How much more than the short form a test is to do: the variable PELLUX_SOAK, 1 without it.
inline int SoakFactor() {
  const char* const factor = getenv("PELLUX_SOAK");
  return factor != nullptr && atoi(factor) > 0 ? atoi(factor) : 1;
}

// What scripts/soak shows of a test that it runs.
inline void ShowFigures(const std::string& figures) {
  (void)printf("figures: %s\n", figures.c_str());
  (void)fflush(stdout);
}
