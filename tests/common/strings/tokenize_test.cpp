#include "common/strings/tokenize.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <stdexcept>

#include "tests/common/strings/models/tokenize.h"
#include "tests/support/sanitized.h"
#include "tests/support/texts.h"

using Narrow = std::function<std::string(std::string&)>;
using Wide = std::function<std::wstring(std::wstring&)>;

static std::string AsItIs(std::string& token) { return token; }

static std::wstring AsItIsWide(std::wstring& token) { return token; }

static std::vector<std::wstring> Widen(const std::vector<std::string>& texts) {
  std::vector<std::wstring> wide;
  for (const std::string& text : texts) wide.push_back(Widen(text));
  return wide;
}

TEST(SplitDelim, GivesTheTextBetweenRunsOfDelimiters) {
  const struct {
    std::string text;
    std::string delimiters;
    std::vector<std::string> tokens;
  } rows[] = {
      {"  a  b ", " ", {"a", "b"}},
      {",;,", ",;", {}},
      {"abc", "", {"abc"}},
      {"", "", {}},
      {"", ",", {}},
      {"a", ",", {"a"}},
      {"a,;b;c", ",;", {"a", "b", "c"}},
      {"a,b", ";", {"a,b"}},
      {",a", ",", {"a"}},
      {"a,", ",", {"a"}},
      {std::string("a\0b,c", 5), std::string(",\0", 2), {"a", "b", "c"}},
      {std::string("a\0b,c", 5), ",", {std::string("a\0b", 3), "c"}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(split_delim(row.text, row.delimiters, AsItIs), row.tokens) << row.text << " at " << row.delimiters;
    EXPECT_EQ(split_delim(Widen(row.text), Widen(row.delimiters), AsItIsWide), Widen(row.tokens))
        << row.text << " at " << row.delimiters << ", wide";
  }
}

TEST(Tokenize, EndsATokenAtEachDelimiterCharacter) {
  const struct {
    std::string text;
    std::vector<std::string> tokens;
  } rows[] = {
      {"a,,b", {"a", "", "b"}},
      {",a", {"", "a"}},
      {"a,", {"a"}},
      {",", {""}},
      {",,", {"", ""}},
      {"", {}},
      {"abc", {"abc"}},
      {"a,b,c", {"a", "b", "c"}},
      {"a\nb", {"a\nb"}},
      {" a , b ", {" a ", " b "}},
      {"a,b,,", {"a", "b", ""}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(tokenize(row.text, ',', AsItIs), row.tokens) << "text: " << row.text;
    EXPECT_EQ(tokenize(Widen(row.text), L',', AsItIsWide), Widen(row.tokens)) << "wide text: " << row.text;
  }
}

TEST(Tokenize, TakesNulAsADelimiterCharacter) {
  EXPECT_EQ(tokenize(std::string("a\0\0b\0", 5), '\0', AsItIs), (std::vector<std::string>{"a", "", "b"}));
  EXPECT_EQ(tokenize(std::wstring(L"a\0\0b\0", 5), L'\0', AsItIsWide), (std::vector<std::wstring>{L"a", L"", L"b"}));
}

TEST(Tokenize, GivesOneTokenMoreThanThereAreDelimiterStrings) {
  const struct {
    std::string text;
    std::string delimiter;
    std::vector<std::string> tokens;
  } rows[] = {
      {"a::b::", "::", {"a", "b", ""}},
      {"", "::", {""}},
      {"a:b", "::", {"a:b"}},
      {"::", "::", {"", ""}},
      {"::a", "::", {"", "a"}},
      {"a::::b", "::", {"a", "", "b"}},
      {"a:::b", "::", {"a", ":b"}},
      {"aXYZb", "XYZ", {"a", "b"}},
      {"a,b,", ",", {"a", "b", ""}},
      {"a", "a::", {"a"}},
      {std::string("a\0b", 3), std::string(1, '\0'), {"a", "b"}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(tokenize(row.text, row.delimiter, AsItIs), row.tokens) << row.text << " at " << row.delimiter;
    EXPECT_EQ(tokenize(Widen(row.text), Widen(row.delimiter), AsItIsWide), Widen(row.tokens))
        << row.text << " at " << row.delimiter << ", wide";
  }
}

// What all three have in common: each row cuts the text that it gets at its commas.
static const std::vector<std::pair<std::string, std::vector<std::string> (*)(const std::string&, Narrow)>> kSplitters =
    {
        {"split_delim", [](const std::string& text, Narrow transform) { return split_delim(text, ",", transform); }},
        {"tokenize, character",
         [](const std::string& text, Narrow transform) { return tokenize(text, ',', transform); }},
        {"tokenize, string", [](const std::string& text, Narrow transform) { return tokenize(text, ",", transform); }},
};

static const std::vector<std::pair<std::string, std::vector<std::wstring> (*)(const std::wstring&, Wide)>>
    kWideSplitters = {
        {"split_delim", [](const std::wstring& text, Wide transform) { return split_delim(text, L",", transform); }},
        {"tokenize, character",
         [](const std::wstring& text, Wide transform) { return tokenize(text, L',', transform); }},
        {"tokenize, string", [](const std::wstring& text, Wide transform) { return tokenize(text, L",", transform); }},
};

TEST(TokenTransform, DecidesWhatIsStored) {
  const auto upper_case = [](std::string& token) {
    std::transform(token.begin(), token.end(), token.begin(), [](char c) { return static_cast<char>(c - 'a' + 'A'); });
    return token;
  };
  for (const auto& [name, splitter] : kSplitters) {
    EXPECT_EQ(splitter("ab,c", upper_case), (std::vector<std::string>{"AB", "C"})) << name;
  }
  for (const auto& [name, splitter] : kWideSplitters) {
    const auto append = [](std::wstring& token) { return token + L'!'; };
    EXPECT_EQ(splitter(L"ab,c", append), (std::vector<std::wstring>{L"ab!", L"c!"})) << name << ", wide";
  }
}

TEST(TokenTransform, EditsOnlyACopyOfTheToken) {
  const std::string text = "ab,c";
  for (const auto& [name, splitter] : kSplitters) {
    const auto tokens = splitter(text, [](std::string& token) {
      const std::string stored = "<" + token + ">";
      token = "edited";
      return stored;
    });
    EXPECT_EQ(tokens, (std::vector<std::string>{"<ab>", "<c>"})) << name;
    EXPECT_EQ(text, "ab,c") << name;
  }
}

TEST(TokenTransform, IsCalledOnceAToken) {
  for (const auto& [name, splitter] : kSplitters) {
    std::vector<std::string> seen;
    (void)splitter("b,a,c", [&seen](std::string& token) {
      seen.push_back(token);
      return std::string();
    });
    EXPECT_EQ(seen, (std::vector<std::string>{"b", "a", "c"})) << name;
  }
}

TEST(TokenTransform, ThrowsAtTheFirstTokenWhenItIsEmpty) {
  for (const auto& [name, splitter] : kSplitters) {
    EXPECT_THROW(splitter("a,b", nullptr), std::bad_function_call) << name;
  }
  for (const auto& [name, splitter] : kWideSplitters) {
    EXPECT_THROW(splitter(L"a,b", nullptr), std::bad_function_call) << name << ", wide";
  }
}

TEST(TokenTransform, IsNotMissedWhereThereIsNoToken) {
  EXPECT_TRUE(split_delim("", ",", nullptr).empty());
  EXPECT_TRUE(split_delim(",,", ",", nullptr).empty());
  EXPECT_TRUE(split_delim(L",,", L",", nullptr).empty());
  EXPECT_TRUE(tokenize("", ',', nullptr).empty());
  EXPECT_TRUE(tokenize(L"", L',', nullptr).empty());
  // The string delimiter finds one empty token even in the empty text.
  EXPECT_THROW(tokenize("", ",", nullptr), std::bad_function_call);
  EXPECT_THROW(tokenize(L"", L",", nullptr), std::bad_function_call);
}

TEST(TokenTransform, LetsItsExceptionsPass) {
  for (const auto& [name, splitter] : kSplitters) {
    int calls = 0;
    const auto throw_at_b = [&calls](std::string& token) {
      ++calls;
      if (token == "b") throw std::runtime_error("b");
      return token;
    };
    EXPECT_THROW(splitter("a,b,c", throw_at_b), std::runtime_error) << name;
    EXPECT_EQ(calls, 2) << name;
  }
}

static void CheckAgainstTheModels(const std::string& text, const std::string& delimiters) {
  ASSERT_EQ(split_delim(text, delimiters, AsItIs), ModelSplitDelim<std::string>(text, delimiters, AsItIs))
      << text << " at " << delimiters;
  ASSERT_EQ(split_delim(Widen(text), Widen(delimiters), AsItIsWide),
            ModelSplitDelim<std::wstring>(Widen(text), Widen(delimiters), AsItIsWide))
      << text << " at " << delimiters << ", wide";
  if (delimiters.empty()) return;
  ASSERT_EQ(tokenize(text, delimiters, AsItIs), ModelTokenizeAtText<std::string>(text, delimiters, AsItIs))
      << text << " at " << delimiters;
  ASSERT_EQ(tokenize(text, delimiters[0], AsItIs), ModelTokenizeAtCharacter<std::string>(text, delimiters[0], AsItIs))
      << text << " at " << delimiters[0];
}

TEST(TokenTransform, SeesWhatTheModelsGiveForAllShortTexts) {
  ForEachText("ab,", 2, [](const std::string& delimiters) {
    ForEachText("ab,", 6 + kOneLonger,
                [&delimiters](const std::string& text) { CheckAgainstTheModels(text, delimiters); });
  });
}

TEST(TokenTransform, SeesWhatTheModelsGiveForLongerTexts) {
  std::mt19937 random(20240229);
  const std::string alphabet("aab,;\0\x80\xFF", 8);
  for (int i = 0; i < 20000 / kStressDivisor; ++i) {
    const std::string text = RandomText(random, alphabet, 80);
    CheckAgainstTheModels(text, RandomText(random, alphabet, 3));
  }
}

TEST(TokenTransform, MayTakeTheTokenAway) {
  const std::string text = "a token that is longer than a short string,b,another token that is longer than that";
  const auto take = [](std::string& token) { return std::move(token); };
  for (const auto& [name, splitter] : kSplitters) EXPECT_EQ(splitter(text, take), splitter(text, AsItIs)) << name;
}
