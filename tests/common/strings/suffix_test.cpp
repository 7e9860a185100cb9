#include "common/strings/suffix.h"

#include <gtest/gtest.h>

TEST(EndsWith, ComparesTheTailExactlyInBothWidths) {
  const struct {
    std::string text;
    std::string suffix;
    bool expected;
  } rows[] = {
      {"/A.app/Contents/MacOS/FinderSync", "FinderSync", true},
      {"/A.app/MyFinderSync", "FinderSync", true},
      {"Sync", "FinderSync", false},
      {"", "", true},
      {"abc", "", true},
      {"", "a", false},
      {"abc", "ABC", false},
      {"abc", "abc", true},
      {"abcd", "abc", false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(ends_with(row.text, row.suffix), row.expected) << row.text << " / " << row.suffix;
    const std::wstring wide_text(row.text.begin(), row.text.end());
    const std::wstring wide_suffix(row.suffix.begin(), row.suffix.end());
    EXPECT_EQ(ends_with(wide_text, wide_suffix), row.expected) << row.text << " / " << row.suffix;
  }
}
