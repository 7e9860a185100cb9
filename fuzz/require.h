// What a fuzz target says when something does not hold.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

// Ends the program with the claim unless it holds, so that libFuzzer keeps the input.
inline void Require(bool holds, const std::string& claim) {
  if (holds) return;
  fprintf(stderr, "Does not hold: %s\n", claim.c_str());
  abort();
}
