// How the daemon's heap is set up.
#pragma once

// Has all threads share one heap, where the system would give each its own. A supervisor allocates next to nothing, but
// a heap of its own costs memory, and time at every `fork`. To be called before there are other threads.
void ShareOneHeap();
