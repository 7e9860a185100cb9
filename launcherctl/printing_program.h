// Whether a program writes to its standard output, as far as that can be told without running it.
#pragma once

#include <string>
#include <vector>

// True for a program that complains of a "write error", as the system's own tools do, and for a shell's script that
// prints and does not say whereto. False says nothing. Reads at most 2 MiB, and never waits.
bool PrintsToStandardOutput(const std::vector<std::string>& command);
