// Counts this program's calls of `malloc`, the library's and the C library's included.
#include <gtest/gtest.h>

#include <cstddef>

#include "tests/liblogger/support.h"

static thread_local int t_allocations = 0;

#if defined(__GLIBC__) && !defined(PELLUX_HAS_SANITIZERS)
static constexpr bool kIsCounted = true;
extern "C" void* __libc_malloc(size_t size);
extern "C" void* malloc(size_t size) {
  ++t_allocations;
  return __libc_malloc(size);
}
#else
static constexpr bool kIsCounted = false;
#endif

TEST(Heap, IsNotUsedByLogV) {
  if (!kIsCounted) GTEST_SKIP() << "allocations can't be counted in this build";
  const TempFolder temp;
  ILog* const log = MakeLogger(temp.path(), "launcher", LOGLEVEL_ERROR);
  ASSERT_NE(log, nullptr);
  const std::string text(10000, 'x');
  const std::string file = temp.path() + "/launcher.log";
  ASSERT_GT(t_allocations, 0) << "the counter doesn't count";
  const int before = t_allocations;
  for (int i = 0; i < 1500; ++i) Log(log, LOGLEVEL_ERROR, "%s %d %5.2f", text.c_str(), i, 1.5);
  (void)remove(file.c_str());
  Log(log, LOGLEVEL_ERROR, "begun anew");
  EXPECT_EQ(t_allocations, before);
  EXPECT_TRUE(std::filesystem::exists(file + ".1")) << "no rotation was seen";
}
