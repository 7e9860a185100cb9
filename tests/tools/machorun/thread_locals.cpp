// Each thread has its own variables, with their first values, and destroys what has a destructor.
#include <atomic>
#include <string>
#include <thread>

#include "tests/tools/machorun/fixture.h"

static std::atomic<int> g_destroyed{0};

struct Counted {
  ~Counted() { ++g_destroyed; }
  std::string text = "made";
};

static thread_local int number = 7;
static thread_local int zero;
static thread_local Counted counted;

// Arguments in every register that a look at a variable must leave alone.
__attribute__((noinline)) static double Sum(int a, long b, int c, long d, int e, long f, double g, double h) {
  number += 1;
  return a + static_cast<double>(b) + c + static_cast<double>(d) + e + static_cast<double>(f) + g + h + zero;
}

int main() {
  number = 100;
  counted.text = "main's";
  std::thread other([] {
    EXPECT(number == 7);
    EXPECT(zero == 0);
    EXPECT(counted.text == "made");
    EXPECT(Sum(1, 2, 3, 4, 5, 6, 7.5, 8.5) == 37);
    EXPECT(number == 8);
  });
  other.join();
  EXPECT(g_destroyed == 1);
  EXPECT(number == 100);
  EXPECT(counted.text == "main's");
  return 0;
}
