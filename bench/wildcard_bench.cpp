// Wildcards.
#include <fnmatch.h>
#include <re2/re2.h>

#include <cstddef>
#include <string>
#include <vector>

#include "bench/compare.h"
#include "bench/texts.h"
#include "common/strings/wildcard.h"

static const std::vector<std::string>& Names() {
  static const std::vector<std::string> names = [] {
    const char* const extensions[] = {".txt", ".tmp", ".docx", ".tar.gz", ""};
    std::vector<std::string> made;
    for (std::string& word : RandomWords(100000, 12)) {
      made.push_back(std::move(word));
      made.back() += extensions[made.size() % 5];
    }
    return made;
  }();
  return names;
}

template <typename Matches>
static int CountMatching(Matches matches) {
  int matching = 0;
  for (const std::string& name : Names()) matching += matches(name) ? 1 : 0;
  return matching;
}

static auto OursOnNames(const char* expression) {
  return [expression] {
    return CountMatching(
        [expression](const std::string& name) { return IsNameInExpressionA(expression, name.c_str(), false); });
  };
}

static auto FnmatchOnNames(const char* pattern) {
  return [pattern] {
    return CountMatching(
        [pattern](const std::string& name) { return fnmatch(pattern, name.c_str(), FNM_NOESCAPE) == 0; });
  };
}

static auto Re2OnNames(const char* expression) {
  return [expression] {
    const RE2 compiled(expression);
    return CountMatching([&compiled](const std::string& name) { return RE2::FullMatch(name, compiled); });
  };
}

// Adds the comparisons of one expression on all names. `pattern` and `regex` match the same ones.
struct OnNames {
  OnNames(const std::string& expression, const char* pattern, const char* regex)
      : with_fnmatch("IsNameInExpressionA", expression + " on 100,000 names", OursOnNames(expression.c_str()),
                     "fnmatch", FnmatchOnNames(pattern)),
        with_re2("IsNameInExpressionA", expression + " on 100,000 names", OursOnNames(expression.c_str()), "RE2",
                 Re2OnNames(regex)) {}
  const Comparison with_fnmatch;
  const Comparison with_re2;
};

static const std::string kTmp = "*.tmp";
static const std::string kDotted = "*.*";
static const std::string kTxt = "<.txt";
static const std::string kScattered = "*a*e*.docx";
static const OnNames kOnTmp(kTmp, "*.tmp", R"(.*\.tmp)");
static const OnNames kOnDotted(kDotted, "*.*", R"(.*\..*)");
static const OnNames kOnTxt(kTxt, "*.txt", R"(.*\.txt)");
static const OnNames kOnScattered(kScattered, "*a*e*.docx", R"(.*a.*e.*\.docx)");

static const std::string& Letters() {
  static const std::string letters(24, 'a');
  return letters;
}

static const std::string& ManyLetters() {
  static const std::string letters(2048, 'a');
  return letters;
}

static const Comparison kManyStars(
    "IsNameInExpressionA", "*a*a*a*a*a*b on 24 letters",
    [] { return IsNameInExpressionA("*a*a*a*a*a*b", Letters().c_str(), false); }, "fnmatch",
    [] { return fnmatch("*a*a*a*a*a*b", Letters().c_str(), FNM_NOESCAPE); });
static const Comparison kLongName(
    "IsNameInExpressionA", "*a*a*b on 2 KB", [] { return IsNameInExpressionA("*a*a*b", ManyLetters().c_str(), false); },
    "fnmatch", [] { return fnmatch("*a*a*b", ManyLetters().c_str(), FNM_NOESCAPE); });

// A '?' takes any character, a '>' almost any.
template <size_t kLength>
static const std::string& Dots() {
  static const std::string dots(kLength, '.');
  return dots;
}

template <char kCharacter, size_t kLength>
static const std::string& Run() {
  static const std::string run(kLength, kCharacter);
  return run;
}

static const Comparison kDots(
    "IsNameInExpressionA", "> x 1,000 on . x 1,000",
    [] { return IsNameInExpressionA(Run<'>', 1000>().c_str(), Dots<1000>().c_str(), false); }, "fnmatch",
    [] { return fnmatch(Run<'?', 1000>().c_str(), Dots<1000>().c_str(), FNM_NOESCAPE); });
static const Comparison kManyDots(
    "IsNameInExpressionA", "> x 10,000 on . x 10,000",
    [] { return IsNameInExpressionA(Run<'>', 10000>().c_str(), Dots<10000>().c_str(), false); }, "fnmatch",
    [] { return fnmatch(Run<'?', 10000>().c_str(), Dots<10000>().c_str(), FNM_NOESCAPE); });
