#include "launcherctl/nearest.h"

#include <gtest/gtest.h>

#include <string>

TEST(NearestOf, FindsWhatWasMeant) {
  const struct {
    const char* word;
    const char* expected;
  } rows[] = {
      {"runOnce", "run_once"},
      {"run-once", "run_once"},
      {"Name", "name"},
      {"nmae", "name"},
      {"nam", "name"},
      {"names", "name"},
      {"arg", "args"},
      {"ARGC", "argc"},
      {"argv", "args"},
      {"programm", "program"},
      {"pogram", "program"},
      {"command", ""},
      {"", ""},
      {"x", ""},
      {"\xFF\xFE", ""},
      {"environment", ""},
      {"path", ""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(NearestOf(row.word, {"name", "program", "args", "argc", "run_once"}), row.expected) << row.word;
  }
}

TEST(NearestOf, TakesTheFirstOfThoseThatAreEquallyNear) { EXPECT_EQ(NearestOf("cat", {"bat", "hat"}), "bat"); }

TEST(NearestOf, DoesNotLookAtWhatIsTooLong) {
  const std::string long_word(100000, 'a');
  EXPECT_EQ(NearestOf(long_word, {long_word}), "");
  EXPECT_EQ(NearestOf("a", {long_word}), "");
}
