#include <malloc.h>

#include "launcher/heap.h"

void ShareOneHeap() { (void)mallopt(M_ARENA_MAX, 1); }
