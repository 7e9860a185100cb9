#include "launcher/heap.h"

// All threads share the system's zones already.
void ShareOneHeap() {}
