// Tells threads apart, each platform in its own way.
#pragma once

#include <cstdint>

// Returns the number that the system's tools show for the calling thread. Takes no lock; safe after `fork`.
uint64_t CurrentThreadId();
