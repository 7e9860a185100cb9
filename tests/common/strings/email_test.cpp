#include "common/strings/email.h"

#include <gtest/gtest.h>

#include <atomic>
#include <locale>
#include <random>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "tests/common/strings/models/email.h"
#include "tests/support/sanitized.h"
#include "tests/support/texts.h"

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

static bool Matches(const std::string& text) {
  static const std::regex form = ModelEmailForm();
  return std::regex_match(text, form);
}

TEST(IsEmailValid, AgreesWithTheExpressionOnAllShortTexts) {
  ForEachText("a_.@-", 5 + kOneLonger,
              [](const std::string& text) { ASSERT_EQ(is_email_valid(text), Matches(text)) << text; });
}

TEST(IsEmailValid, AgreesWithTheExpressionOnEveryByte) {
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    for (std::string text : {"?b@c.d", "a?b@c.d", "ab@?.d", "ab@c.?", "ab@c.d?", "a?c.d"}) {
      text[text.find('?')] = c;
      ASSERT_EQ(is_email_valid(text), Matches(text)) << "byte " << byte << " in " << text;
    }
  }
}

// A matcher needs a level of recursion for each character of a run; these lengths are what all of them stand.
TEST(IsEmailValid, AgreesWithTheExpressionOnLongerTexts) {
  std::mt19937 random(20240229);
  int valid = 0;
  for (int i = 0; i < 3000 / kStressDivisor; ++i) {
    std::string text;
    for (const char* mark : {"", ".", "@", ".", ".", "-"}) {
      if (random() % 8 != 0) text += mark;
      const size_t length = random() % 8 == 0 ? 0 : 1 + random() % 40;
      text += std::string(length, random() % 2 == 0 ? 'a' : '_');
      if (*mark == '.' && random() % 2 == 0) break;
    }
    ASSERT_EQ(is_email_valid(text), Matches(text)) << text;
    if (is_email_valid(text)) ++valid;
  }
  EXPECT_GT(valid, 100 / kStressDivisor) << "the texts should not all be bad";
}

TEST(IsEmailValid, HasNoLengthAtWhichTheAnswerChanges) {
  for (size_t length = 250; length <= 100000; length = length < 1100 ? length + 1 : length * 3 / 2) {
    const std::string run(length, 'a');
    ASSERT_TRUE(is_email_valid(run + "@b.c")) << length;
    ASSERT_TRUE(is_email_valid(run + ".@b.c")) << length;
    ASSERT_TRUE(is_email_valid("a@" + run + ".c")) << length;
    ASSERT_TRUE(is_email_valid("a@b." + run)) << length;
    ASSERT_FALSE(is_email_valid(run)) << length;
    ASSERT_FALSE(is_email_valid(run + "@b")) << length;
    ASSERT_FALSE(is_email_valid(run + ".a.@b.c")) << length;
    ASSERT_FALSE(is_email_valid("a@b." + run + ".")) << length;
    ASSERT_FALSE(is_email_valid("a@b." + run + "-")) << length;
  }
}

// In this locale two marks are letters, one of the form among them, and a byte above 0x80 is a digit.
TEST(IsEmailValid, AsksTheGlobalLocaleForLettersAndDigits) {
  static std::ctype_base::mask table[std::ctype<char>::table_size] = {};
  table[static_cast<unsigned char>('@')] = std::ctype_base::alpha;
  table[static_cast<unsigned char>('+')] = std::ctype_base::alpha;
  table[0xE4] = std::ctype_base::digit;
  const std::locale before = std::locale::global(std::locale(std::locale(), new std::ctype<char>(table)));
  // The form with "[.]" for "\.": where '.' is a letter, libc++ takes the latter for an escape that it does not know.
  const std::regex form(R"((\w+)([.]|_)?(\w*)@(\w+)([.](\w+))+)");
  int valid = 0;
  ForEachText(".@+a_\xE4", 5 + kOneLonger, [&form, &valid](const std::string& text) {
    const bool expected = std::regex_match(text, form);
    ASSERT_EQ(is_email_valid(text), expected) << text;
    if (expected) ++valid;
  });
  EXPECT_TRUE(is_email_valid("+@+.+"));
  EXPECT_FALSE(is_email_valid("a@a.a"));
  EXPECT_GT(valid, 0);
  std::locale::global(before);
}

TEST(IsEmailValid, MayBeCalledFromSeveralThreadsAtOnce) {
  std::atomic<int> valid(0);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&valid] {
      if (is_email_valid("ab.cd@ef.gh")) ++valid;
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(valid, 4);
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
