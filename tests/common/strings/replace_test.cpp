#include "common/strings/replace.h"

#include <gtest/gtest.h>

TEST(ReplaceAll, StepsOverTheSearchedTextInBothWidths) {
  const struct {
    std::string text;
    std::string from;
    std::string to;
    std::string expected;
  } rows[] = {
      {"x-y-z", "-", "+", "x+y+z"},
      {"", "a", "b", ""},
      {"abc", "x", "y", "abc"},
      {"abc", "abc", "", ""},
      {"abc", "abcd", "", "abc"},
      {"aaaa", "aa", "bb", "bbbb"},
      {"aaa", "aa", "bb", "bba"},
      // A shorter replacement: the two characters behind it are not searched.
      {"abab", "ab", "", "ab"},
      {"ababab", "ab", "", "ab"},
      {"ab-ab", "ab", "", "-ab"},
      {"ababab", "ab", "x", "xabx"},
      // A longer one: its tail is searched again, its first characters are not.
      {"aXa", "a", "ab", "abXab"},
      {"--", "-", "==", "===="},
      {"abab", "ab", "xab-", "xab-xab-"},
      {"abb", "ab", "cda", "cdcda"},
  };
  for (const auto& row : rows) {
    std::string text = row.text;
    replace_all(text, row.from, row.to);
    EXPECT_EQ(text, row.expected) << row.text << ": " << row.from << " -> " << row.to;

    std::wstring wide(row.text.begin(), row.text.end());
    replace_all(wide, {row.from.begin(), row.from.end()}, {row.to.begin(), row.to.end()});
    EXPECT_EQ(wide, std::wstring(row.expected.begin(), row.expected.end())) << row.text << ", wide";
  }
}

TEST(ReplaceAll, TreatsNulAsAnyOtherCharacter) {
  std::string text("a\0b\0c", 5);
  replace_all(text, std::string(1, '\0'), "--");
  EXPECT_EQ(text, "a--b--c");
}
