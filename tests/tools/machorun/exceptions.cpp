// Exceptions pass through frames of every form: with a frame pointer and without, with many saved registers, with a
// large stack, with objects to destroy; and are caught by type, or rethrown.
#include <stdexcept>
#include <string>
#include <system_error>

#include "tests/tools/machorun/fixture.h"

static int g_destroyed = 0;

struct Counted {
  ~Counted() { ++g_destroyed; }
};

__attribute__((noinline)) static void Throw(int kind) {
  const Counted counted;
  if (kind == 1) throw std::runtime_error("one");
  if (kind == 2) throw 42;
  if (kind == 3) throw std::system_error(std::make_error_code(std::errc::invalid_argument), "three");
}

// Everything that lives across the call stays in registers that have to be restored.
__attribute__((noinline)) static long ManyRegisters(int kind, long a, long b, long c, long d) {
  long e = a * 3 + b;
  long f = b * 5 + c;
  try {
    Throw(kind);
  } catch (const std::runtime_error&) {
    return a + b + c + d + e + f;
  }
  return -1;
}

__attribute__((noinline)) static char LargeStack(int kind) {
  volatile char room[100000];
  room[kind] = 'x';
  Throw(kind);
  return room[0];
}

__attribute__((noinline)) static void Rethrow(int kind) {
  try {
    LargeStack(kind);
  } catch (...) {
    const Counted counted;
    throw;
  }
}

int main() {
  volatile long one = 1;
  EXPECT(ManyRegisters(1, one, one + 1, one + 2, one + 3) == 1 + 2 + 3 + 4 + 5 + 13);
  EXPECT(g_destroyed == 1);

  int caught = 0;
  try {
    Rethrow(2);
  } catch (const std::exception&) {
    caught = -1;
  } catch (int number) {
    caught = number;
  }
  EXPECT(caught == 42);
  EXPECT(g_destroyed == 3);

  std::string text;
  try {
    Rethrow(3);
  } catch (const std::system_error& error) {
    text = error.what();
    EXPECT(error.code() == std::errc::invalid_argument);
  }
  EXPECT(text.rfind("three", 0) == 0);

  text.clear();
  try {
    (void)std::stoi("no number");
  } catch (const std::invalid_argument& error) {  // Thrown in the C++ library.
    text = error.what();
  }
  EXPECT(!text.empty());
  return 0;
}
