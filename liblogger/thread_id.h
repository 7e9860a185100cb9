// Tells threads apart, each platform in its own way.
#pragma once

#include <cstdint>

// Returns the number that the system's tools show for the calling thread. Takes no lock, allocates nothing.
uint64_t CurrentThreadId();

// To be called in a forked child, whose only thread has another number than the one it is a copy of.
void ForgetThreadId();
