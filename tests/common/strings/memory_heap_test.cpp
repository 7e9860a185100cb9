// Calls that never return by contract. Most of them need ever more memory: a program of its own, whose `operator new`
// can be told to refuse large blocks, sees them fail instead.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/time.h>

#include <cstddef>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include "common/strings/email.h"
#include "common/strings/replace.h"
#include "common/strings/tokenize.h"
#include "common/strings/trim.h"
#include "common/strings/wildcard.h"
#include "tests/common/strings/models/replace.h"
#include "tests/support/texts.h"

static size_t g_largest_block = SIZE_MAX;

void* operator new(size_t size) {
  void* block = size <= g_largest_block ? malloc(size) : nullptr;
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void operator delete(void* block) noexcept { free(block); }

void operator delete(void* block, size_t) noexcept { free(block); }

// Memory is short while it lives.
class ShortMemory {
 public:
  explicit ShortMemory(size_t largest_block = 20000) { g_largest_block = largest_block; }
  ~ShortMemory() { g_largest_block = SIZE_MAX; }
};

TEST(IsNameInExpression, AllocatesNothing) {
  const std::string name(1000, 'a');
  const ShortMemory no_memory(0);
  EXPECT_FALSE(IsNameInExpressionA("*a<a>*a?\"*b", name.c_str(), true));
  EXPECT_TRUE(IsNameInExpression(L"*.<*", L"a.b.c", false));
}

TEST(IsEmailValid, AllocatesNothing) {
  const std::string address = std::string(1000, 'a') + "@b.c";
  const ShortMemory no_memory(0);
  EXPECT_TRUE(is_email_valid(address));
}

TEST(Trim, AllocatesNothing) {
  std::string text = "  " + std::string(1000, 'x') + "\r\n";
  const ShortMemory no_memory(0);
  EXPECT_EQ(trim(text).size(), 1000U);
}

TEST(ReplaceAll, AllocatesNothingUnlessTheReplacementIsLonger) {
  std::string text(1000, 'x');
  const std::string x = "x";
  const std::string y = "y";
  const std::string nothing;
  const ShortMemory no_memory(0);
  replace_all(text, x, y);
  replace_all(text, y, nothing);
  EXPECT_EQ(text.size(), 500U);
}

static const struct {
  std::string text;
  std::string from;
  std::string to;
} kEndless[] = {
    {"aXa", "a", "aa"}, {"aXa", "a", "ba"}, {"Xab", "ab", "cdab"},
    {"", "", "x"},      {"abc", "", "x"},   {"aa", "aa", "baaa"},
};

TEST(ReplaceAll, NeedsMemoryWithoutEndWhereTheReplacementIsFoundAgain) {
  for (const auto& row : kEndless) {
    std::string text = row.text;
    {
      const ShortMemory short_memory;
      EXPECT_THROW(replace_all(text, row.from, row.to), std::bad_alloc) << row.from << " -> " << row.to;
    }
    EXPECT_GT(text.size(), 4000U) << row.from << " -> " << row.to;
  }
}

TEST(ReplaceAll, NeedsMemoryWithoutEndInWideTextsToo) {
  for (const auto& row : kEndless) {
    std::wstring text = Widen(row.text);
    const ShortMemory short_memory;
    EXPECT_THROW(replace_all(text, Widen(row.from), Widen(row.to)), std::bad_alloc) << row.from << " -> " << row.to;
  }
}

TEST(ReplaceAll, LeavesTheReplacementsMadeSoFarWhenMemoryIsExhausted) {
  for (const auto& row : kEndless) {
    std::string text = row.text;
    {
      const ShortMemory short_memory;
      EXPECT_THROW(replace_all(text, row.from, row.to), std::bad_alloc);
    }
    std::string expected = row.text;
    const size_t replacements = (text.size() - row.text.size()) / (row.to.size() - row.from.size());
    EXPECT_FALSE(ModelReplaceAll(expected, row.from, row.to, replacements));
    EXPECT_TRUE(text == expected) << row.from << " -> " << row.to;
  }
}

// Ends this process by SIGVTALRM after it has worked for a tenth of a second.
static void EndAfterSomeWork() {
  (void)signal(SIGVTALRM, SIG_DFL);
  const itimerval tenth_of_a_second = {{0, 0}, {0, 100000}};
  (void)setitimer(ITIMER_VIRTUAL, &tenth_of_a_second, nullptr);
}

TEST(ReplaceAll, NeverReturnsWhereNothingIsReplacedByNothing) {
  const auto replace = [] {
    EndAfterSomeWork();
    std::string text = "abc";
    replace_all(text, "", "");
  };
  EXPECT_EXIT(replace(), testing::KilledBySignal(SIGVTALRM), "");
}

TEST(Tokenize, NeedsMemoryWithoutEndWhenTheDelimiterIsEmpty) {
  const auto as_it_is = [](std::string& token) { return token; };
  const auto as_it_is_wide = [](std::wstring& token) { return token; };
  const ShortMemory short_memory;
  EXPECT_THROW(tokenize("abc", "", as_it_is), std::bad_alloc);
  EXPECT_THROW(tokenize("", "", as_it_is), std::bad_alloc);
  EXPECT_THROW(tokenize(L"abc", L"", as_it_is_wide), std::bad_alloc);
}
