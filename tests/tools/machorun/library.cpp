// A library that program.cpp uses: a function, data, a frame that exceptions pass, and a constructor that runs
// before the program's.
#include "tests/tools/machorun/library.h"

int g_library_number = 0;

struct SetsNumber {
  SetsNumber() { g_library_number = 17; }
};
static const SetsNumber g_sets_number;

int* LibraryNumber() { return &g_library_number; }

int CallBack(int (*function)(int), int number) { return function(number) + 1; }
