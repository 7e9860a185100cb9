#include "common/strings/trim.h"

#include <gtest/gtest.h>

#include "tests/support/texts.h"

TEST(Trim, RemovesBlanksAtBothEndsAndKeepsTheRest) {
  const struct {
    std::string text;
    std::string expected;
  } rows[] = {
      {"", ""},
      {"value", "value"},
      {"  \tvalue \r\n", "value"},
      {"\r\n", ""},
      {" \t\n\v\f\r", ""},
      {"a b\tc", "a b\tc"},
      {"\xA0value\xA0", "\xA0value\xA0"},
      {" \x85value\x85 ", "\x85value\x85"},
      {std::string(" \0a\0 ", 5), std::string("\0a\0", 3)},
  };
  for (const auto& row : rows) {
    std::string text = row.text;
    EXPECT_EQ(trim(text), row.expected) << "text: " << row.text;
  }
}

TEST(Trim, KeepsEveryOtherByteAtTheEnds) {
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    if (std::string(" \t\n\v\f\r").find(c) != std::string::npos) continue;
    std::string text(1, c);
    EXPECT_EQ(trim(text), std::string(1, c)) << "byte: " << byte;
  }
}

TEST(Trim, ReturnsTheObjectThatItWasGiven) {
  std::string text = " a ";
  EXPECT_EQ(&trim(text), &text);
  text = trim(text);
  EXPECT_EQ(text, "a");
}

// Told literally: from the end, then from the start, as long as there is a blank.
TEST(Trim, AgreesWithTakingBlanksOneByOne) {
  ForEachText(" \t\ra", 6, [](const std::string& text) {
    const auto is_blank = [](char c) { return std::string(" \t\n\v\f\r").find(c) != std::string::npos; };
    std::string expected = text;
    while (!expected.empty() && is_blank(expected.back())) expected.pop_back();
    while (!expected.empty() && is_blank(expected.front())) expected.erase(0, 1);
    std::string actual = text;
    ASSERT_EQ(trim(actual), expected) << "text: " << text;
  });
}
