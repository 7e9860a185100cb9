// A program that finds its library by a run path, uses its functions and data, and throws through its frames.
#include "tests/tools/machorun/fixture.h"
#include "tests/tools/machorun/library.h"

static const int g_number_at_the_start = *LibraryNumber();

static int Twice(int number) { return 2 * number; }
static int Throw(int number) { throw number; }

int main() {
  EXPECT(g_number_at_the_start == 17);
  EXPECT(&g_library_number == LibraryNumber());
  EXPECT(CallBack(&Twice, 4) == 9);
  int caught = 0;
  try {
    (void)CallBack(&Throw, 5);
  } catch (int number) {
    caught = number;
  }
  EXPECT(caught == 5);
  return 0;
}
