#include "launcherctl/escape.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "common/strings/utf8.h"
#include "liblogger/record.h"

TEST(ShownText, HidesWhatATerminalWouldActOn) {
  const struct {
    std::string text;
    std::string expected;
  } rows[] = {
      {"", ""},
      {"plain \xC3\xA4 \xE2\x82\xAC \xF0\x9F\x98\x80 \\n", "plain \xC3\xA4 \xE2\x82\xAC \xF0\x9F\x98\x80 \\n"},
      {"\n\t\r", "\\n\\t\\r"},
      {"\x1b[2J\x7f", "\\x1B[2J\\x7F"},
      {std::string("a\0b", 3), "a\\x00b"},
      {"\xC2\x9B", "\\xC2\\x9B"},
      {"\xE2\x80\xAE\xE2\x80\xA8\xD8\x9C\xE2\x81\xA6", "\\xE2\\x80\\xAE\\xE2\\x80\\xA8\\xD8\\x9C\\xE2\\x81\\xA6"},
      {"\xFF\xC3", "\\xFF\\xC3"},
      {"\xC0\x80\xED\xA0\x80\xF4\x90\x80\x80", "\\xC0\\x80\\xED\\xA0\\x80\\xF4\\x90\\x80\\x80"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(ShownText(row.text), row.expected);
    EXPECT_EQ(Quoted(row.text), '"' + row.expected + '"');
  }
}

TEST(Shortened, CutsBetweenCharacters) {
  const std::string most(80, 'a');
  EXPECT_EQ(Shortened(most), most);
  EXPECT_EQ(Shortened(most + "a"), most + "...");
  const std::string less(79, 'a');
  EXPECT_EQ(Shortened(less + "\xC3\xA4"), less + "...");
  EXPECT_EQ(Shortened(less + "\xFF\xFF"), less + "\xFF...");
}

TEST(JsonText, EscapesMalformedBytesAlone) {
  EXPECT_EQ(JsonText("\x1b\n\xE2\x80\xAE\xC3\xA4"), "\x1b\n\xE2\x80\xAE\xC3\xA4");
  EXPECT_EQ(JsonText("a\xFF\xC3"), "a\\xFF\\xC3");
}

TEST(CountCharacters, CountsAMalformedByteAsOne) {
  EXPECT_EQ(CountCharacters("a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"), 4U);
  EXPECT_EQ(CountCharacters("\xFF\xC3"), 2U);
  EXPECT_EQ(CountCharacters(""), 0U);
}

// The library's converter throws and tells no length, so it can't walk on behind a bad byte; what is UTF-8 is the same.
TEST(IsUtf8, AgreesWithTheLibrarysConverter) {
  static constexpr unsigned char kBytes[] = {0x41, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC1, 0xC2,
                                             0xDF, 0xE0, 0xED, 0xEF, 0xF0, 0xF1, 0xF4, 0xF5};
  constexpr size_t kCount = std::size(kBytes);
  for (size_t number = 0; number < kCount * kCount * kCount * kCount; ++number) {
    std::string text;
    for (size_t rest = number; rest > 0; rest /= kCount) text += static_cast<char>(kBytes[rest % kCount]);
    bool converts = true;
    try {
      (void)s2ws(text);
    } catch (const std::range_error&) {
      converts = false;
    }
    ASSERT_EQ(IsUtf8(text), converts) << JsonText(text);
  }
}

// --- The log's own escapes

__attribute__((format(printf, 1, 2))) static std::string Logged(const char* format, ...) {
  std::vector<char> record(kLongestRecordBytes);
  va_list arguments;
  va_start(arguments, format);
  const size_t length = FormatRecord({{0, 0}, 0, LOGLEVEL_ERROR, "m", 1, 2}, format, arguments, record.data());
  va_end(arguments);
  const std::string line(record.data(), length);
  const std::string columns = "m        1        2 ";
  const size_t message = line.find(columns) + columns.size();
  return line.substr(message, line.size() - 1 - message);
}

TEST(ShownText, ShowsATextAsTheLogDoes) {
  static const char* const kPieces[] = {
      "a",        "\n",       "\t",   "\r",   "\x1b",     "\x7f", "\xC2\x9B", "\xE2\x80\xA8", "\xE2\x80\xAE",
      "\xD8\x9C", "\xC3\xA4", "\xFF", "\xC3", "\xE2\x82", "\x80", "\xF4\x90", "\\",           "\xE2\x81\xA9"};
  std::mt19937 random(3);
  for (int i = 0; i < 5000; ++i) {
    std::string text;
    for (size_t pieces = random() % 12; pieces > 0; --pieces) text += kPieces[random() % std::size(kPieces)];
    ASSERT_EQ(ShownText(text), Logged("%s", text.c_str()));
  }
  for (unsigned byte = 1; byte < 256; ++byte) {
    const std::string text(1, static_cast<char>(byte));
    EXPECT_EQ(ShownText(text), Logged("%s", text.c_str())) << byte;
  }
}
