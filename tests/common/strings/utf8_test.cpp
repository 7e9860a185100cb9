#include "common/strings/utf8.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/common/strings/models/utf8.h"
#include "tests/support/sanitized.h"
#include "tests/support/texts.h"

// The message that the conversion fails with, or empty when it does not.
template <typename Convert, typename Text>
static std::string FailureOf(Convert convert, const Text& text) {
  try {
    (void)convert(text);
  } catch (const std::range_error& error) {
    return error.what();
  }
  return "";
}

static std::string DecodingFailure(const std::string& bytes) { return FailureOf(s2ws, bytes); }

// All well-formed sequences, as the table of the Unicode standard lists their byte ranges; slow and literal.
static bool IsOneWellFormedCharacter(const std::string& bytes) {
  struct Range {
    uint8_t low;
    uint8_t high;
  };
  static const std::vector<std::vector<Range>> table = {
      {{0x00, 0x7F}},
      {{0xC2, 0xDF}, {0x80, 0xBF}},
      {{0xE0, 0xE0}, {0xA0, 0xBF}, {0x80, 0xBF}},
      {{0xE1, 0xEC}, {0x80, 0xBF}, {0x80, 0xBF}},
      {{0xED, 0xED}, {0x80, 0x9F}, {0x80, 0xBF}},
      {{0xEE, 0xEF}, {0x80, 0xBF}, {0x80, 0xBF}},
      {{0xF0, 0xF0}, {0x90, 0xBF}, {0x80, 0xBF}, {0x80, 0xBF}},
      {{0xF1, 0xF3}, {0x80, 0xBF}, {0x80, 0xBF}, {0x80, 0xBF}},
      {{0xF4, 0xF4}, {0x80, 0x8F}, {0x80, 0xBF}, {0x80, 0xBF}},
  };
  for (const auto& form : table) {
    if (form.size() != bytes.size()) continue;
    bool matches = true;
    for (size_t i = 0; i < form.size(); ++i) {
      const auto byte = static_cast<uint8_t>(bytes[i]);
      matches = matches && byte >= form[i].low && byte <= form[i].high;
    }
    if (matches) return true;
  }
  return false;
}

// What both give for the text: the conversion, or the message that it fails with.
template <typename Convert, typename Model, typename Text>
static void CheckAgainst(Model model, Convert convert, const Text& text) {
  const std::string failure = FailureOf(model, text);
  ASSERT_EQ(FailureOf(convert, text), failure);
  if (!failure.empty()) return;
  ASSERT_TRUE(convert(text) == model(text));
}

// The bytes at which the rules change, for each place in a sequence.
static const std::string kTellingBytes(
    "a\0\x7F\x80\x8F\x90\x9F\xA0\xBF\xC0\xC1\xC2\xDF\xE0\xE1\xED\xEE\xEF\xF0\xF1\xF4\xF5\xF8\xFF", 24);

TEST(S2ws, AgreesWithTheModelOnAllShortTextsOfTellingBytes) {
  ForEachText(kTellingBytes, 2 + kOneLonger, [](const std::string& bytes) {
    CheckAgainst(ModelS2ws, s2ws, bytes);
    for (const char* first : {"\xF0", "\xF1", "\xF4"}) CheckAgainst(ModelS2ws, s2ws, first + bytes);
  });
}

TEST(S2ws, AgreesWithTheModelOnLongerTextsWithAByteChanged) {
  std::mt19937 random(20240229);
  for (int i = 0; i < 20000 / kStressDivisor; ++i) {
    std::wstring text;
    for (size_t length = random() % 40; text.size() < length;) {
      const uint32_t limits[] = {0x80, 0x800, 0xD800, 0x110000};
      const uint32_t limit = limits[random() % 4];
      const auto value = static_cast<uint32_t>(random() % limit);
      text.push_back(static_cast<wchar_t>(value >= 0xD800 && value <= 0xDFFF ? 'a' : value));
    }
    std::string bytes = ModelWs2s(text);
    CheckAgainst(ModelS2ws, s2ws, bytes);
    if (bytes.empty()) continue;
    bytes[random() % bytes.size()] = static_cast<char>(random() & 0xFF);
    CheckAgainst(ModelS2ws, s2ws, bytes);
    bytes.resize(random() % bytes.size());
    CheckAgainst(ModelS2ws, s2ws, bytes);
  }
}

TEST(Ws2s, AgreesWithTheModelOnTextsOfAllLengths) {
  std::mt19937 random(20240229);
  for (size_t length = 0; length < 1200; length += kStressDivisor) {
    std::wstring text;
    while (text.size() < length) {
      const uint32_t limits[] = {0x80, 0x800, 0xD800, 0x10000};
      const uint32_t limit = limits[random() % 4];
      text.push_back(static_cast<wchar_t>(random() % limit));
    }
    CheckAgainst(ModelWs2s, ws2s, text);  // A surrogate is among most of the long ones.
    for (wchar_t& character : text) {
      if (character >= 0xD800 && character <= 0xDFFF) character = 0x1F600;
    }
    CheckAgainst(ModelWs2s, ws2s, text);
  }
}

static constexpr const char* kDecodingFailure = "wstring_convert: from_bytes error";
static constexpr const char* kEncodingFailure = "wstring_convert: to_bytes error";

TEST(S2ws, DecodesEachLengthOfSequence) {
  const struct {
    std::string bytes;
    std::wstring expected;
  } rows[] = {
      {"", L""},
      {"abc", L"abc"},
      {"\xC3\xA9", {0xE9}},
      {"\xE2\x82\xAC", {0x20AC}},
      {"\xF0\x9F\x98\x80", {0x1F600}},
      {"\xEF\xBB\xBF"
       "a",
       {0xFEFF, L'a'}},  // A byte-order mark is a character.
      {std::string("a\0b", 3), {L'a', 0, L'b'}},
  };
  for (const auto& row : rows) EXPECT_EQ(s2ws(row.bytes), row.expected) << "bytes: " << row.bytes;
}

TEST(S2ws, ThrowsOnBadInput) {
  const struct {
    const char* what;
    std::string bytes;
  } rows[] = {
      {"stray continuation", "\x80"},
      {"stray continuation behind text", "abc\x80"},
      {"truncated, two bytes", "a\xC3"},
      {"truncated alone", "\xC3"},
      {"truncated, three bytes", "a\xE2\x82"},
      {"truncated, four bytes", "\xF0\x9F\x98"},
      {"interrupted",
       "\xC3"
       "a"},
      {"overlong NUL", "\xC0\x80"},
      {"overlong, three bytes", "\xE0\x80\xAF"},
      {"overlong, four bytes", "\xF0\x80\x80\xAF"},
      {"first surrogate", "\xED\xA0\x80"},
      {"last surrogate", "\xED\xBF\xBF"},
      {"above 0x10FFFF", "\xF4\x90\x80\x80"},
      {"lead byte F5", "\xF5\x80\x80\x80"},
      {"five bytes", "\xF8\x88\x80\x80\x80"},
      {"FF", "\xFF"},
  };
  for (const auto& row : rows) EXPECT_EQ(DecodingFailure(row.bytes), kDecodingFailure) << row.what;
}

TEST(S2ws, AcceptsExactlyTheWellFormedCharactersOfUpToThreeBytes) {
  const auto check = [](const std::string& bytes) {
    ASSERT_EQ(DecodingFailure(bytes).empty(), IsOneWellFormedCharacter(bytes));
  };
  for (int first = 0x80; first < 256; ++first) {
    check({static_cast<char>(first)});
    for (int second = 0x70; second < 256; ++second) {
      // Two characters of one byte are well-formed too, but start below 0x80.
      check({static_cast<char>(first), static_cast<char>(second)});
      if (first < 0xE0) continue;
      for (const int third : {0x00, 0x7F, 0x80, 0x9F, 0xA0, 0xBF, 0xC0, 0xFF}) {
        check({static_cast<char>(first), static_cast<char>(second), static_cast<char>(third)});
      }
    }
  }
}

TEST(S2ws, AcceptsExactlyTheWellFormedCharactersOfFourBytes) {
  for (int first = 0xF0; first < 256; ++first) {
    for (int second = 0x70; second < 256; ++second) {
      for (const int third : {0x7F, 0x80, 0xBF, 0xC0}) {
        for (const int fourth : {0x7F, 0x80, 0xBF, 0xC0}) {
          const std::string bytes = {static_cast<char>(first), static_cast<char>(second), static_cast<char>(third),
                                     static_cast<char>(fourth)};
          ASSERT_EQ(DecodingFailure(bytes).empty(), IsOneWellFormedCharacter(bytes));
        }
      }
    }
  }
}

TEST(Ws2s, RoundTripsEveryCodePoint) {
  for (uint32_t code_point = 0; code_point <= 0x10FFFF; ++code_point) {
    if (code_point >= 0xD800 && code_point <= 0xDFFF) continue;
    // A sanitizer leaves time for all that UTF-16 has in one unit, and for some of the others.
    if (kSanitized && code_point > 0x10000 && code_point < 0x10FFFF && code_point % 61 != 0) continue;
    const std::wstring text(1, static_cast<wchar_t>(code_point));
    const std::string bytes = ws2s(text);
    ASSERT_TRUE(IsOneWellFormedCharacter(bytes)) << code_point;
    ASSERT_EQ(s2ws(bytes), text) << code_point;
  }
}

TEST(Ws2s, EncodesKnownCharacters) {
  EXPECT_EQ(ws2s(L""), "");
  EXPECT_EQ(ws2s({0xE9}), "\xC3\xA9");
  EXPECT_EQ(ws2s({0x20AC}), "\xE2\x82\xAC");
  EXPECT_EQ(ws2s({0x1F600}), "\xF0\x9F\x98\x80");
  EXPECT_EQ(ws2s({L'a', 0, L'b'}), std::string("a\0b", 3));
}

TEST(Ws2s, ThrowsOnWhatUtf8CannotHold) {
  for (const uint32_t value : {0xD800U, 0xDBFFU, 0xDC00U, 0xDFFFU, 0x110000U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
    const std::wstring text = {L'a', static_cast<wchar_t>(value)};
    EXPECT_EQ(FailureOf(ws2s, text), kEncodingFailure) << std::hex << value;
  }
}

TEST(Wchar2utf8, StopsAtTheFirstNul) {
  const wchar_t text[] = {0xE9, 0, L'b', 0};
  EXPECT_EQ(wchar2utf8(text), "\xC3\xA9");
  EXPECT_EQ(wchar2utf8(L""), "");
}

TEST(Wchar2utf8, ThrowsOnASurrogate) {
  const wchar_t text[] = {0xD800, 0};
  EXPECT_EQ(FailureOf(wchar2utf8, text), kEncodingFailure);
}
