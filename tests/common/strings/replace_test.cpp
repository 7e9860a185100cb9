#include "common/strings/replace.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "tests/common/strings/models/replace.h"
#include "tests/support/sanitized.h"
#include "tests/support/texts.h"

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

    std::wstring wide = Widen(row.text);
    replace_all(wide, Widen(row.from), Widen(row.to));
    EXPECT_EQ(wide, Widen(row.expected)) << row.text << ", wide";
  }
}

TEST(ReplaceAll, TreatsNulAsAnyOtherCharacter) {
  std::string text("a\0b\0c", 5);
  replace_all(text, std::string(1, '\0'), "--");
  EXPECT_EQ(text, "a--b--c");
}

// Returns whether the model comes to an end; only then may the function be called.
static bool AgreesWithTheModelIfItEnds(const std::string& text, const std::string& from, const std::string& to) {
  std::string expected = text;
  if (!ModelReplaceAll(expected, from, to, 2 * text.size() + 2)) return false;
  std::string actual = text;
  replace_all(actual, from, to);
  EXPECT_EQ(actual, expected) << "'" << text << "': '" << from << "' -> '" << to << "'";
  return true;
}

TEST(ReplaceAll, AgreesWithTheModelOnAllShortTexts) {
  ForEachText("ab", 3, [](const std::string& from) {
    if (from.empty()) return;
    ForEachText("ab-", 3 + kOneLonger, [&from](const std::string& to) {
      ForEachText("ab", 6, [&](const std::string& text) { (void)AgreesWithTheModelIfItEnds(text, from, to); });
    });
  });
}

TEST(ReplaceAll, AgreesWithTheModelOnLongerTexts) {
  std::mt19937 random(20240229);
  int compared = 0;
  for (size_t i = 0; i < 60000 / kStressDivisor; ++i) {
    const std::string alphabet("aab\0\xC3", i % 4 + 2);
    const std::string from = RandomText(random, alphabet, 3) + 'a';
    const std::string to = RandomText(random, alphabet + "-", 7);
    if (AgreesWithTheModelIfItEnds(RandomText(random, alphabet, 60), from, to)) ++compared;
  }
  EXPECT_GT(compared, 20000 / kStressDivisor);
}

TEST(ReplaceAll, AgreesWithTheModelOnWideTexts) {
  std::mt19937 random(20240229);
  for (int i = 0; i < 50000 / kStressDivisor; ++i) {
    const std::wstring text = Widen(RandomText(random, "aab", 40));
    const std::wstring from = Widen(RandomText(random, "aab", 3)) + L'b';
    const std::wstring to = Widen(RandomText(random, "ab--", 6));
    std::wstring expected = text;
    if (!ModelReplaceAll(expected, from, to, 2 * text.size() + 2)) continue;
    std::wstring actual = text;
    replace_all(actual, from, to);
    ASSERT_EQ(actual, expected);
  }
}
