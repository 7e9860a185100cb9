// Pointers in data: to the program's own data and functions, and to the system's.
#include <string.h>

#include "tests/tools/machorun/fixture.h"

static int g_numbers[] = {1, 2, 3};
static int Twice(int number) { return 2 * number; }

static int* g_own_data[] = {&g_numbers[0], &g_numbers[2]};
static int (*g_own_functions[])(int) = {&Twice};
static size_t (*g_functions_of_the_system[])(const char*) = {&strlen};
static const char* const g_texts[] = {"one", "three"};

int main() {
  volatile int last = 1;
  EXPECT(*g_own_data[last] == 3);
  EXPECT(g_own_functions[0](21) == 42);
  EXPECT(g_functions_of_the_system[0](g_texts[last]) == 5);
  return 0;
}
