// Watches what `base64` gives back to the heap. The address sanitizer shows the same in base64_test.cpp.
#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "common/strings/base64.h"

#if defined(__GLIBC__) && !defined(PELLUX_HAS_SANITIZERS)
static constexpr bool kIsWatched = true;
static const void* g_watched = nullptr;  // Until it is released: after that another block may have its address.
extern "C" void __libc_free(void* block);
extern "C" void free(void* block) {
  if (block == g_watched) g_watched = nullptr;
  __libc_free(block);
}
#else
static constexpr bool kIsWatched = false;
static const void* g_watched = nullptr;
#endif

static const unsigned char kBytes[] = {'f', 'o', 'o', 'b'};

TEST(Base64, FreesThePreviousTextWhateverComesNext) {
  if (!kIsWatched) GTEST_SKIP() << "releases can't be seen in this build";
  const struct {
    const char* what;
    const unsigned char* data;
    unsigned long length;
  } rows[] = {
      {"another text", kBytes, 3}, {"a text with a filled group", kBytes, 4},         {"null data", nullptr, 1},
      {"no length", kBytes, 0},    {"more than memory holds", kBytes, ULONG_MAX / 4},
  };
  for (const auto& row : rows) {
    g_watched = base64(kBytes, sizeof(kBytes));
    (void)base64(row.data, row.length);
    EXPECT_EQ(g_watched, nullptr) << row.what;
  }
}

TEST(Base64, KeepsItsTextUntilTheNextCall) {
  if (!kIsWatched) GTEST_SKIP() << "releases can't be seen in this build";
  const char* const text = base64(kBytes, sizeof(kBytes));
  g_watched = text;
  { const std::string other(1000, 'x'); }
  EXPECT_EQ(g_watched, text);
  EXPECT_STREQ(text, "Zm9vYj==");
  g_watched = nullptr;
}
