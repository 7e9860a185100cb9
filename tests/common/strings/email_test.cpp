#include "common/strings/email.h"

#include <gtest/gtest.h>

#include <regex>

TEST(IsEmailValid, AcceptsTheFormAndNothingElse) {
  const struct {
    const char* text;
    bool expected;
  } rows[] = {
      {"ab.cd@ef.gh", true},  {"ab_cd@ef.gh.ij", true},  {"ab@ef", false},     {"ab.cd.ef@gh.ij", false},
      {"ab-cd@ef.gh", false}, {"ab+cd@ef.gh", false},    {"ab@ef.gh.", false}, {".ab@ef.gh", false},
      {"ab.@ef.gh", true},    {"ab@ef..gh", false},      {"", false},          {"ab@.ef.gh", false},
      {"ab@ef.gh\n", false},  {" ab@ef.gh", false},      {"a@b@c.d", false},   {"@ef.gh", false},
      {"_@_._", true},        {"\xC3\xA4@ef.gh", false},
  };
  for (const auto& row : rows) EXPECT_EQ(is_email_valid(row.text), row.expected) << "text: " << row.text;
}

TEST(IsEmailValid, TreatsAnEmbeddedNulAsAnyOtherForeignByte) {
  EXPECT_FALSE(is_email_valid(std::string("ab@ef.gh\0", 9)));
  EXPECT_FALSE(is_email_valid(std::string("a\0b@ef.gh", 9)));
}

// Long texts are decided in another way than short ones; padding a part of the text with letters does not change what
// the form says of it, so both ways must agree on the pair.
TEST(IsEmailValid, GivesAPaddedTextTheAnswerOfTheShortOne) {
  static constexpr char kAlphabet[] = {'a', '_', '.', '@', '-'};
  constexpr size_t kLetters = sizeof(kAlphabet);
  const std::string padding(300, 'a');
  const std::regex form(R"((\w+)(\.|_)?(\w*)@(\w+)(\.(\w+))+)");
  size_t combinations = 1;
  for (int length = 1; length <= 5; ++length) {
    combinations *= kLetters;
    for (size_t i = 0; i < combinations; ++i) {
      std::string text;
      for (size_t rest = i, k = 0; k < static_cast<size_t>(length); ++k, rest /= kLetters) {
        text.push_back(kAlphabet[rest % kLetters]);
      }
      const size_t letter = text.find('a');
      if (letter == std::string::npos) continue;
      const bool expected = std::regex_match(text, form);
      ASSERT_EQ(is_email_valid(text), expected) << text;
      ASSERT_EQ(is_email_valid(text.substr(0, letter) + padding + text.substr(letter)), expected) << text;
    }
  }
}

TEST(IsEmailValid, AnswersForTextsOfAMegabyte) {
  const std::string megabyte(1000000, 'a');
  std::string labels;
  while (labels.size() < megabyte.size()) labels += ".b";
  const struct {
    const char* what;
    std::string text;
    bool expected;
  } rows[] = {
      {"a word", megabyte, false},
      {"a long local part", megabyte + "@ef.gh", true},
      {"a long local part with a dot at its end", megabyte + ".@ef.gh", true},
      {"a long domain", "ab@ef." + megabyte, true},
      {"many labels", "ab@a" + labels, true},
      {"many labels and a dot", "ab@a" + labels + ".", false},
      {"a long tail of a bad text", "ab@ef.gh-" + megabyte, false},
  };
  for (const auto& row : rows) EXPECT_EQ(is_email_valid(row.text), row.expected) << row.what;
}
