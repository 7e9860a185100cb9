#include "common/strings/wildcard.h"

#include <gtest/gtest.h>

#include <cctype>
#include <clocale>
#include <cstdlib>
#include <cwctype>
#include <random>
#include <string>
#include <vector>

#include "tests/common/strings/models/wildcard.h"
#include "tests/support/page_end.h"
#include "tests/support/sanitized.h"
#include "tests/support/temp_folder.h"
#include "tests/support/texts.h"

TEST(IsNameInExpression, AnswersAsTheTableSaysInBothWidths) {
  const struct {
    const char* expression;
    const char* name;
    bool expected;
  } rows[] = {
      {"", "", true},
      {"", "a", false},
      {"*", "", true},
      {"*", "abc", true},
      {"**", "", true},
      {"?", "", false},
      {"??", "a", false},
      {"a?", "a", false},
      {"*?", "", false},
      {"*?", "a", true},
      {"*a", "aaa", true},
      {"*.txt", ".txt", true},
      {"*.txt", "a.txt.bak", false},
      {"*.*", "abc", false},
      {"*.*", "a.b", true},
      {"<.txt", "a.b.txt", true},
      {"<.b", "a.b", true},
      {"<", "a.b", false},
      {"<", "", true},
      {"<", "abc", false},
      {"a<", "abc", true},
      {"*<", "abc", true},
      {"<c", "abc", false},
      {"<\"*", "abc", true},
      {"<.<", "a.b.c", true},
      {">", "a", true},
      {">", "", false},
      {">", ".", false},
      {"a>", "a", false},
      {">>", "a.b", false},
      {">.>", "a.b", true},
      {">?", "..", true},
      {"a\"", "a", true},
      {"a\"", "a.", true},
      {"a\"b", "ab", true},
      {"a\"b", "a.b", true},
      {"?*", "", true},
      {">*", "", true},
      {"a?*", "a", true},
      {"?a", "", false},
      {"A*", "abc", false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(IsNameInExpressionA(row.expression, row.name, false), row.expected)
        << row.expression << " / " << row.name;
    EXPECT_EQ(IsNameInExpression(Widen(row.expression).c_str(), Widen(row.name).c_str(), false), row.expected)
        << row.expression << " / " << row.name << ", wide";
  }
}

TEST(IsNameInExpression, IgnoresCaseOnRequest) {
  EXPECT_TRUE(IsNameInExpressionA("A*", "abc", true));
  EXPECT_TRUE(IsNameInExpression(L"A*", L"abc", true));
  EXPECT_TRUE(IsNameInExpressionA("*.TxT", "a.tXt", true));
  EXPECT_TRUE(IsNameInExpression(L"*.TxT", L"a.tXt", true));
  EXPECT_TRUE(IsNameInExpressionA("<B*cD", "ab.CdXcd", true)) << "in what wildcards try, too";
}

static void CheckAgainstTheModel(const std::string& expression, const std::string& name) {
  for (const bool ignore_case : {false, true}) {
    const bool expected = ModelMatches(expression.c_str(), name.c_str(), ignore_case);
    ASSERT_EQ(IsNameInExpressionA(expression.c_str(), name.c_str(), ignore_case), expected)
        << expression << " / " << name << ", ignore case: " << ignore_case;
    ASSERT_EQ(IsNameInExpression(Widen(expression).c_str(), Widen(name).c_str(), ignore_case), expected)
        << expression << " / " << name << ", ignore case: " << ignore_case << ", wide";
  }
}

TEST(IsNameInExpression, AgreesWithTheModelOnAllShortExpressions) {
  std::vector<std::string> names;
  ForEachText("aA.", 4, [&names](const std::string& name) { names.push_back(name); });
  ForEachText("aA.*?<>\"", 3 + kOneLonger, [&names](const std::string& expression) {
    for (const std::string& name : names) CheckAgainstTheModel(expression, name);
  });
}

TEST(IsNameInExpression, AgreesWithTheModelOnAllLongerExpressionsWithoutCase) {
  std::vector<std::string> names;
  ForEachText("a.", 6, [&names](const std::string& name) { names.push_back(name); });
  ForEachText("a.*?<>\"", 4 + kOneLonger, [&names](const std::string& expression) {
    for (const std::string& name : names) {
      const bool expected = ModelMatches(expression.c_str(), name.c_str(), false);
      ASSERT_EQ(IsNameInExpressionA(expression.c_str(), name.c_str(), false), expected) << expression << " / " << name;
    }
  });
}

TEST(IsNameInExpression, AgreesWithTheModelOnLongerExpressions) {
  std::mt19937 random(20240229);
  int matches = 0;
  for (int i = 0; i < 500000 / kStressDivisor; ++i) {
    const std::string expression = RandomText(random, "aab.?<>\"*<*", 12);
    const std::string name = RandomText(random, "aab..", 14);
    const bool expected = ModelMatches(expression.c_str(), name.c_str(), false);
    ASSERT_EQ(IsNameInExpressionA(expression.c_str(), name.c_str(), false), expected) << expression << " / " << name;
    if (expected) ++matches;
  }
  EXPECT_GT(matches, 5000 / kStressDivisor) << "the expressions should not all miss";
}

TEST(IsNameInExpression, AgreesWithTheModelInBothWidthsAndCases) {
  std::mt19937 random(20240301);
  for (int i = 0; i < 20000; ++i) {
    const std::string expression = RandomText(random, "aaAb.?<>\"*\xC3\xFF", 10);
    CheckAgainstTheModel(expression, RandomText(random, "aab.A\xC3\xE3\xFF", 12));
  }
}

TEST(IsNameInExpression, FoldsOnlyAsciiInTheNarrowVariant) {
  const std::string wildcards = "*?<>\"";
  const auto upper_case = [](int byte) { return byte >= 'a' && byte <= 'z' ? byte - 'a' + 'A' : byte; };
  for (int wanted = 1; wanted < 256; ++wanted) {
    if (wildcards.find(static_cast<char>(wanted)) != std::string::npos) continue;
    const char expression[] = {static_cast<char>(wanted), '\0'};
    for (int byte = 1; byte < 256; ++byte) {
      const char name[] = {static_cast<char>(byte), '\0'};
      ASSERT_EQ(IsNameInExpressionA(expression, name, true), upper_case(wanted) == upper_case(byte))
          << wanted << " / " << byte;
      ASSERT_EQ(IsNameInExpressionA(expression, name, false), wanted == byte) << wanted << " / " << byte;
    }
  }
}

TEST(IsNameInExpression, CountsBytesInTheNarrowVariantAndCodePointsInTheWideOne) {
  EXPECT_FALSE(IsNameInExpressionA("?", "\xC3\xA9", false));
  EXPECT_TRUE(IsNameInExpressionA("??", "\xC3\xA9", false));
  EXPECT_TRUE(IsNameInExpressionA(">>", "\xC3\xA9", false));
  EXPECT_TRUE(IsNameInExpression(L"?", L"\x1F600", false));
  EXPECT_TRUE(IsNameInExpression(L"\x1F600>", L"\x1F600\xE9", false));
}

TEST(IsNameInExpression, ComparesTheWholeWideCharacter) {
  // In their lowest byte or half these are 'A', '*', '.' and the terminator.
  EXPECT_FALSE(IsNameInExpression(L"\x10041", L"A", true));
  EXPECT_FALSE(IsNameInExpression(L"\x12A", L"abc", false));
  EXPECT_TRUE(IsNameInExpression(L"\x1002A", L"\x1002A", false));
  EXPECT_FALSE(IsNameInExpression(L"a\"", L"a\x12E", false));
  EXPECT_FALSE(IsNameInExpression(L"a", L"a\x10000", false));
  EXPECT_FALSE(IsNameInExpression(L"a\x100", L"a", false));
}

TEST(IsNameInExpression, FoldsWideCharactersAsTheLocaleDoes) {
  const auto expect_the_locales_answer = [](wchar_t wanted, wchar_t character) {
    const wchar_t expression[] = {wanted, 0};
    const wchar_t name[] = {character, 0};
    const bool same = towupper(static_cast<wint_t>(wanted)) == towupper(static_cast<wint_t>(character));
    EXPECT_EQ(IsNameInExpression(expression, name, true), same) << std::hex << wanted << " / " << character;
    EXPECT_FALSE(IsNameInExpression(expression, name, false)) << std::hex << wanted << " / " << character;
  };
  expect_the_locales_answer(0xC9, 0xE9);
  expect_the_locales_answer(0x416, 0x436);

  const std::string before = setlocale(LC_CTYPE, nullptr);
  if (setlocale(LC_CTYPE, "C.UTF-8") == nullptr && setlocale(LC_CTYPE, "en_US.UTF-8") == nullptr) {
    GTEST_SKIP() << "needs a UTF-8 locale";
  }
  EXPECT_TRUE(IsNameInExpression(L"\xC9\x416", L"\xE9\x436", true));
  expect_the_locales_answer(0xC9, 0xE9);
  expect_the_locales_answer(0x416, 0x436);
  EXPECT_FALSE(IsNameInExpressionA("\xC9", "\xE9", true)) << "the narrow variant leaves these bytes alone";
  (void)setlocale(LC_CTYPE, before.c_str());
}

TEST(IsNameInExpression, AnswersForTextsOfAnyLength) {
  const std::string many_stars(1000000, '*');
  EXPECT_TRUE(IsNameInExpressionA(many_stars.c_str(), "abc", false));
  EXPECT_FALSE(IsNameInExpressionA((many_stars + "d").c_str(), "abc", false));
  const std::string many_dots(100000, '.');
  EXPECT_FALSE(IsNameInExpressionA(std::string(100000, '>').c_str(), many_dots.c_str(), false));
  EXPECT_TRUE(IsNameInExpressionA((std::string(99999, '>') + ".").c_str(), many_dots.c_str(), false));
}

// Each of these tried every way to share the name out among the wildcards would take longer than the universe.
TEST(IsNameInExpression, DoesNotTryEveryWayToShareTheNameOut) {
  std::string stars;
  std::string dot_stars;
  for (int i = 0; i < 30; ++i) {
    stars += "*a";
    dot_stars += "<a\"";
  }
  const std::string name(200, 'a');
  EXPECT_FALSE(IsNameInExpressionA((stars + "b").c_str(), name.c_str(), false));
  EXPECT_FALSE(IsNameInExpressionA((dot_stars + "b").c_str(), (name + "." + name).c_str(), false));
  EXPECT_TRUE(IsNameInExpressionA((dot_stars + "*b").c_str(), (name + "." + name + "b").c_str(), false));
}

// Makes a Turkish locale of one byte a character the current one while it lives: in it the upper case of 'i' lies above
// 0x80. Where the system has none, it is compiled. `is_set` says whether that worked.
class TurkishLocale {
 public:
  TurkishLocale() : before(setlocale(LC_CTYPE, nullptr)) {
    for (const char* name : {"tr_TR.ISO-8859-9", "tr_TR.ISO8859-9"}) is_set = is_set || setlocale(LC_CTYPE, name);
    if (is_set) return;
    const std::string compile = "localedef -i tr_TR -f ISO-8859-9 '" + folder.path() + "/tr_TR.ISO-8859-9' 2>/dev/null";
    const int status = system(compile.c_str());  // Not 0 for mere warnings, too.
    (void)status;
    (void)setenv("LOCPATH", folder.path().c_str(), 1);
    is_set = setlocale(LC_CTYPE, "tr_TR.ISO-8859-9") != nullptr;
    (void)unsetenv("LOCPATH");
  }
  ~TurkishLocale() { (void)setlocale(LC_CTYPE, before.c_str()); }
  TurkishLocale(const TurkishLocale&) = delete;
  TurkishLocale& operator=(const TurkishLocale&) = delete;

  bool is_set = false;

 private:
  const TempFolder folder;
  const std::string before;
};

TEST(IsNameInExpression, TakesNoByteAboveAsciiForTheUpperCaseOfALetterInIt) {
  const TurkishLocale turkish;
  if (!turkish.is_set) GTEST_SKIP() << "needs the locale tr_TR.ISO-8859-9, or localedef and what it compiles";
  const volatile int i = 'i';  // Compilers know the upper case of a constant, in their own locale.
  ASSERT_EQ(toupper(i), 0xDD) << "not the locale that this is about";
  EXPECT_FALSE(IsNameInExpressionA("\xDD", "i", true));
  EXPECT_FALSE(IsNameInExpressionA("i", "\xDD", true));
  EXPECT_TRUE(IsNameInExpressionA("\xDD", "\xDD", true));
  EXPECT_EQ(IsNameInExpressionA("I", "i", true), toupper('I') == toupper(i));
}

TEST(IsNameInExpression, ReadsNothingBehindTheTerminators) {
  PageEnd expression_page;
  PageEnd name_page;
  std::vector<std::string> names;
  ForEachText("a.", 3, [&names](const std::string& name) { names.push_back(name); });
  ForEachText("aA.*?<>\"", 4, [&](const std::string& expression) {
    for (const std::string& name : names) {
      for (const bool ignore_case : {false, true}) {
        (void)IsNameInExpressionA(expression_page.PlaceTerminated(expression), name_page.PlaceTerminated(name),
                                  ignore_case);
        (void)IsNameInExpression(expression_page.PlaceTerminated(Widen(expression)),
                                 name_page.PlaceTerminated(Widen(name)), ignore_case);
      }
    }
  });
}
