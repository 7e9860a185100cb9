#include "common/strings/join.h"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

TEST(Join, PutsTheSeparatorBetweenItems) {
  const struct {
    std::vector<std::string> items;
    std::string separator;
    std::string expected;
  } rows[] = {
      {{"a", "b", "c"}, ", ", "a, b, c"},
      {{"a"}, ", ", "a"},
      {{"a", "b", "c"}, "", "abc"},
      {{""}, ", ", ""},
      {{"", ""}, ", ", ", "},
      {{"", "a", ""}, "-", "-a-"},
      {{std::string("a\0b", 3), "c"}, std::string(1, '\0'), std::string("a\0b\0c", 5)},
      {{"a", std::string("b\0c", 3)}, "-", std::string("a-b\0c", 5)},
      {{std::string("\0a", 2)}, "-", std::string("\0a", 2)},
  };
  for (const auto& row : rows) EXPECT_EQ(join(row.items, row.separator), row.expected) << "result: " << row.expected;
}

TEST(Join, AgreesWithAStreamOnItemsOfAllLengths) {
  for (size_t longest = 0; longest < 60; ++longest) {
    std::vector<std::string> items;
    std::ostringstream expected;
    for (size_t length = 0; length <= longest; ++length) {
      if (length > 0) expected << ", ";
      items.emplace_back(length, 'x');
      expected << items.back();
    }
    EXPECT_EQ(join(items, ", "), expected.str());
  }
}

TEST(Join, ThrowsWhenThereIsNothingToJoin) {
  try {
    (void)join({}, ", ");
    FAIL() << "nothing was thrown";
  } catch (const std::out_of_range& error) {
    EXPECT_STREQ(error.what(), "join: no items");
  }
}
