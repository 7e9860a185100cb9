#include "common/strings/split.h"

#include <gtest/gtest.h>

#include <utility>

#include "tests/support/texts.h"

using TextAndPieces = std::pair<std::string, std::vector<std::string>>;

static const std::vector<TextAndPieces>& Rows() {
  static const std::vector<TextAndPieces> rows = {
      {"a=b", {"a", "b"}},   {"a==b", {"a", "", "b"}}, {"=b", {"", "b"}}, {"a=", {"a"}},
      {"=", {""}},           {"abc", {"abc"}},         {"", {""}},        {"key=value=more", {"key", "value", "more"}},
      {"===", {"", "", ""}},
  };
  return rows;
}

TEST(Split, ReturnsThePiecesBetweenTheMatches) {
  for (const auto& [text, pieces] : Rows()) EXPECT_EQ(split(text, std::regex("=")), pieces) << "text: " << text;
}

TEST(Split, GivesTheSameAnswersForWideText) {
  for (const auto& [text, pieces] : Rows()) {
    std::vector<std::wstring> wide_pieces;
    for (const std::string& piece : pieces) wide_pieces.push_back(Widen(piece));
    EXPECT_EQ(split(Widen(text), std::wregex(L"=")), wide_pieces) << "text: " << text;
  }
}

TEST(Split, LeavesTheGrammarToTheCaller) {
  EXPECT_EQ(split("a12b3c", std::regex("[0-9]+")), (std::vector<std::string>{"a", "b", "c"}));
  EXPECT_EQ(split("a=+b", std::regex("=+", std::regex::extended)), (std::vector<std::string>{"a", "+b"}));
}

TEST(Split, LosesNothingBetweenEmptyMatches) {
  const struct {
    const char* expression;
    const char* text;
    std::vector<std::string> pieces;
  } rows[] = {
      {"x*", "", {""}},
      {"x*", "ab", {"", "a", "b"}},
      {"x*", "axxb", {"", "a", "", "b"}},
      {"x?", "a=b", {"", "a", "=", "b"}},
      {"\\b", "ab=cd", {"", "ab", "=", "cd"}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(split(row.text, std::regex(row.expression)), row.pieces) << row.expression << " in '" << row.text << "'";
  }
}

TEST(Split, KeepsNulBytesInPieces) {
  const std::string text("a\0b=c", 5);
  EXPECT_EQ(split(text, std::regex("=")), (std::vector<std::string>{std::string("a\0b", 3), "c"}));
}
