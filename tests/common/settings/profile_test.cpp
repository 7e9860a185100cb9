#include "common/settings/profile.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <filesystem>
#include <optional>
#include <utility>

#include "tests/support/descriptors.h"
#include "tests/support/file_tree.h"

static constexpr int32_t kBufferBytes = 1024;

// The value of LEVEL in [LOG] of a file with this content, or "<fallback>".
static std::string LevelIn(const std::string& content) {
  const FileTree folder;
  const std::string path = folder.WriteFile("log.ini", content);
  char level[4096];
  const uint64_t length =
      GetPrivateProfileString("LOG", "LEVEL", "<fallback>", level, static_cast<int32_t>(sizeof(level)), path);
  EXPECT_EQ(length, strlen(level)) << "content: " << content;
  return level;
}

// The same, as a number; nothing for the fallback. Two fallbacks tell it from a value.
static std::optional<uint32_t> NumberIn(const std::string& content) {
  const FileTree folder;
  const std::string path = folder.WriteFile("log.ini", content);
  const uint32_t first = GetPrivateProfileInt("LOG", "LEVEL", 1, path);
  const uint32_t second = GetPrivateProfileInt("LOG", "LEVEL", 2, path);
  if (first == 1 && second == 2) return std::nullopt;
  EXPECT_EQ(first, second) << "content: " << content;
  return first;
}

// What a call leaves in a buffer that was full of '#' before.
static std::pair<uint64_t, std::string> CopyInto(int32_t size, const std::string& value, const std::string& fallback) {
  const FileTree folder;
  const std::string path = folder.WriteFile("log.ini", "[LOG]\nLEVEL=" + value + "\n");
  char buffer[16];
  memset(buffer, '#', sizeof(buffer));
  const uint64_t length = GetPrivateProfileString("LOG", "LEVEL", fallback, buffer, size, path);
  return {length, std::string(buffer, sizeof(buffer))};
}

static std::pair<uint64_t, std::string> Left(uint64_t length, std::string text) {
  text.resize(16, '#');
  return {length, text};
}

TEST(GetPrivateProfileString, FindsTheValueOfAKeyInItsSection) {
  const struct {
    const char* what;
    std::string content;
    const char* expected;
  } rows[] = {
      {"plain", "[LOG]\nLEVEL=DEBUG\n", "DEBUG"},
      {"lower-case names", "[log]\nlevel=DEBUG\n", "DEBUG"},
      {"mixed-case names", "[lOg]\nLeVeL=Debug\n", "Debug"},
      {"CRLF", "[LOG]\r\nLEVEL=DEBUG\r\n", "DEBUG"},
      {"no final newline", "[LOG]\nLEVEL=DEBUG", "DEBUG"},
      {"CRLF without the final LF", "[LOG]\r\nLEVEL=DEBUG\r", "DEBUG"},
      {"CR alone ends no line", "[LOG]\rLEVEL=DEBUG\r", "<fallback>"},
      {"indented", "\t [LOG]\n \t LEVEL=DEBUG \v\f\n", "DEBUG"},
      {"empty lines", "\n\n[LOG]\n\n   \nLEVEL=DEBUG\n", "DEBUG"},
      {"another section before", "[SDK]\nLEVEL=MESSAGE\n[LOG]\nLEVEL=DEBUG\n", "DEBUG"},
      {"another section behind", "[LOG]\nLEVEL=DEBUG\n[SDK]\nLEVEL=MESSAGE\n", "DEBUG"},
      {"key before any section", "LEVEL=MESSAGE\n[LOG]\nLEVEL=DEBUG\n", "DEBUG"},
      {"key in another section only", "[LOG]\nX=1\n[SDK]\nLEVEL=DEBUG\n", "<fallback>"},
      {"no section", "LEVEL=DEBUG\n", "<fallback>"},
      {"no key", "[LOG]\nX=DEBUG\n", "<fallback>"},
      {"section without lines", "[LOG]", "<fallback>"},
      {"empty file", "", "<fallback>"},
      {"blank inside the key", "[LOG]\nLE VEL=DEBUG\n", "<fallback>"},
      {"key as a part of another", "[LOG]\nLEVELS=1\nXLEVEL=2\nLEVE=3\n", "<fallback>"},
      {"semicolon before the key", "[LOG]\n;LEVEL=MESSAGE\nLEVEL=DEBUG\n", "DEBUG"},
      {"hash before the key", "[LOG]\n#LEVEL=MESSAGE\nLEVEL=DEBUG\n", "DEBUG"},
      {"no comment behind the value", "[LOG]\nLEVEL=DEBUG ; why\n", "DEBUG ; why"},
      {"no continuation", "[LOG]\nLEVEL=DEB\\\nUG\n", "DEB\\"},
      {"byte-order mark", "\xEF\xBB\xBF[LOG]\nLEVEL=DEBUG\n", "<fallback>"},
      {"byte-order mark on a line before", "\xEF\xBB\xBF\n[LOG]\nLEVEL=DEBUG\n", "DEBUG"},
  };
  for (const auto& row : rows) EXPECT_EQ(LevelIn(row.content), row.expected) << row.what;
}

TEST(GetPrivateProfileString, RecognisesHeaders) {
  const struct {
    const char* header;
    bool expected;
  } rows[] = {
      {"[LOG]", true},   {"  [ Log ]", true}, {"[\tLOG\v]  ", true}, {"[LOG]x", false},
      {"x[LOG]", false}, {"[LOG", false},     {"LOG]", false},       {"[LOGS]", false},
      {"[L OG]", false}, {"[[LOG]]", false},  {"[]", false},         {"[ ]", false},
      {"[LOG]]", false}, {"[LOG] ;x", false}, {"[LOG];]", false},    {"[\"LOG\"]", false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(LevelIn(std::string(row.header) + "\nLEVEL=DEBUG\n") == "DEBUG", row.expected) << "line: " << row.header;
  }
}

TEST(GetPrivateProfileString, EndsTheSectionAtAnyLineThatStartsWithABracket) {
  for (const char* line : {"[x", "[", "[]", "  [x", "[x=1", "[SDK]", "[LOG]"}) {
    EXPECT_EQ(LevelIn("[LOG]\n" + std::string(line) + "\nLEVEL=DEBUG\n"), "<fallback>") << "line: " << line;
  }
  for (const char* line : {"x]", "x[", "]", "x=[", "=[LOG]"}) {
    EXPECT_EQ(LevelIn("[LOG]\n" + std::string(line) + "\nLEVEL=DEBUG\n"), "DEBUG") << "line: " << line;
  }
}

TEST(GetPrivateProfileString, PassesOverABracketBeforeItsSection) {
  for (const char* line : {"[x", "[", "[]"}) {
    EXPECT_EQ(LevelIn(std::string(line) + "\n[LOG]\nLEVEL=DEBUG\n"), "DEBUG") << "line: " << line;
  }
}

TEST(GetPrivateProfileString, LooksIntoTheFirstSectionOfANameOnly) {
  EXPECT_EQ(LevelIn("[LOG]\nX=1\n[LOG]\nLEVEL=DEBUG\n"), "<fallback>");
  EXPECT_EQ(LevelIn("[LOG]\nLEVEL=DEBUG\n[LOG]\nLEVEL=MESSAGE\n"), "DEBUG");
}

TEST(GetPrivateProfileString, CutsAtTheEqualsSigns) {
  const struct {
    const char* lines;
    const char* expected;
  } rows[] = {
      {"LEVEL=a=b", "a"},
      {"LEVEL=a=", "a"},
      {"LEVEL = DEBUG", "<fallback>"},
      {"LEVEL =DEBUG", "<fallback>"},
      {"LEVEL= DEBUG", " DEBUG"},
      {"LEVEL=\tDEBUG\t", "\tDEBUG"},
      {"LEVEL=a =b", "a "},
      {"LEVEL=\"DEBUG\"", "\"DEBUG\""},
      {"LEVEL='DEBUG'", "'DEBUG'"},
      {"LEVEL=\\n", "\\n"},
      {"LEVEL=\xC3\x89", "\xC3\x89"},
      {"LEVEL=", "<fallback>"},
      {"LEVEL=  ", "<fallback>"},
      {"LEVEL", "<fallback>"},
      {"=LEVEL", "<fallback>"},
      {"=LEVEL=DEBUG", "<fallback>"},
      {"LEVEL==x", "<fallback>"},
      {"LEVEL==", "<fallback>"},
      {"LEVEL= =x", " "},
      {"LEVEL=\nLEVEL=WARNING", "WARNING"},
      {"LEVEL\nLEVEL=WARNING", "WARNING"},
      {"LEVEL =DEBUG\nLEVEL=WARNING", "WARNING"},
      {"LEVEL==x\nLEVEL=WARNING", "<fallback>"},
      {"LEVEL=DEBUG\nLEVEL=WARNING", "DEBUG"},
      {"level=DEBUG\nLEVEL=WARNING", "DEBUG"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(LevelIn("[LOG]\n" + std::string(row.lines) + "\n"), row.expected) << "lines: " << row.lines;
  }
}

TEST(GetPrivateProfileString, TrimsTheWantedSectionButNotTheWantedKey) {
  const FileTree folder;
  const std::string path =
      folder.WriteFile("log.ini", "[]\nX=no header\n[ ]\nX=blank\n[LOG]\nLEVEL=bare\nLEVEL =with a blank\n=nameless\n");
  const struct {
    const char* section;
    const char* key;
    const char* expected;
  } rows[] = {
      {"LOG", "LEVEL", "bare"},
      {" \tLog\r\n", "LEVEL", "bare"},
      {"log", "level", "bare"},
      {"LOG", "Level ", "with a blank"},
      {"LOG", " LEVEL", "<fallback>"},
      {"LOG", "", "nameless"},
      {"", "X", "blank"},
      {"  ", "X", "blank"},
      {"[LOG]", "LEVEL", "<fallback>"},
      {"LOG", "LEVEL=", "<fallback>"},
  };
  for (const auto& row : rows) {
    char value[kBufferBytes];
    GetPrivateProfileString(row.section, row.key, "<fallback>", value, kBufferBytes, path);
    EXPECT_STREQ(value, row.expected) << "section: " << row.section << ", key: " << row.key;
  }
}

TEST(GetPrivateProfileString, LowersAsciiLettersOnly) {
  const FileTree folder;
  // E with an acute accent: upper case in the file, lower case wanted.
  const std::string path =
      folder.WriteFile("log.ini", "[\xC3\x89]\nLEVEL=a\n[\xC3\xA9Z@`{]\nL\xC3\x89=b\nL\xC3\xA9=c\n");
  char value[kBufferBytes];
  GetPrivateProfileString("\xC3\xA9", "LEVEL", "<fallback>", value, kBufferBytes, path);
  EXPECT_STREQ(value, "<fallback>");
  GetPrivateProfileString("\xC3\xA9z@`{", "l\xC3\xA9", "<fallback>", value, kBufferBytes, path);
  EXPECT_STREQ(value, "c");
  GetPrivateProfileString("\xC3\xA9z``{", "l\xC3\xA9", "<fallback>", value, kBufferBytes, path);
  EXPECT_STREQ(value, "<fallback>");
}

TEST(GetPrivateProfileString, IgnoresWhatFollowsANulInALine) {
  const auto with_nul = [](const char* before, const char* behind) { return std::string(before) + '\0' + behind; };
  EXPECT_EQ(LevelIn(with_nul("[LOG]", "x\nLEVEL=DEBUG\n")), "DEBUG");
  EXPECT_EQ(LevelIn(with_nul("[LOG]\nLEVEL=DE", "BUG\n")), "DE");
  EXPECT_EQ(LevelIn(with_nul("[LOG]\nLEVEL=", "DEBUG\nLEVEL=WARNING\n")), "WARNING");
  EXPECT_EQ(LevelIn(with_nul("[LOG]\n", "LEVEL=DEBUG\n")), "<fallback>");
  EXPECT_EQ(LevelIn(with_nul("[LO", "G]\nLEVEL=DEBUG\n")), "<fallback>");
  EXPECT_EQ(LevelIn(with_nul("[LOG]\n", "[x\nLEVEL=DEBUG\n")), "DEBUG");
}

// A line is read whole up to 2047 bytes, its line feed included.
TEST(GetPrivateProfileString, ReadsALongLineInPiecesOf2047Bytes) {
  const std::string key = "LEVEL=";
  const struct {
    size_t line_bytes;  // Without the line feed.
    size_t value_bytes;
  } rows[] = {{2045, 2039}, {2046, 2040}, {2047, 2041}, {2048, 2041}, {2049, 2041}, {5000, 2041}};
  for (const auto& row : rows) {
    const std::string value(row.line_bytes - key.size(), 'v');
    EXPECT_EQ(LevelIn("[LOG]\n" + key + value + "\n"), std::string(row.value_bytes, 'v')) << row.line_bytes;
  }
}

TEST(GetPrivateProfileString, TreatsEachPieceOfALongLineAsALine) {
  for (const size_t bytes : {size_t{2046}, size_t{2047}, size_t{2048}}) {
    const std::string filler(bytes, 'x');
    EXPECT_EQ(LevelIn("[LOG]\n" + filler + "LEVEL=DEBUG\n"), bytes == 2047 ? "DEBUG" : "<fallback>") << bytes;
    EXPECT_EQ(LevelIn(filler + "[LOG]\nLEVEL=DEBUG\n"), bytes == 2047 ? "DEBUG" : "<fallback>") << bytes;
    EXPECT_EQ(LevelIn("[LOG]\n" + filler + "[x\nLEVEL=DEBUG\n"), bytes == 2047 ? "<fallback>" : "DEBUG") << bytes;
  }
  // Each piece is trimmed on its own: these blanks end the first one.
  EXPECT_EQ(LevelIn("[LOG]\nLEVEL=DEBUG" + std::string(2047 - 11, ' ') + "more\n"), "DEBUG");
  // Blanks in the middle of a piece stay.
  EXPECT_EQ(LevelIn("[LOG]\nLEVEL=DEBUG" + std::string(2047 - 12, ' ') + "more\n"),
            "DEBUG" + std::string(2047 - 12, ' ') + "m");
}

TEST(GetPrivateProfileString, FallsBackWhenTheFileCannotBeOpened) {
  const FileTree folder;
  char level[kBufferBytes];
  EXPECT_EQ(GetPrivateProfileString("LOG", "LEVEL", "ERROR", level, kBufferBytes, folder.PathOf("log.ini")), 5U);
  EXPECT_STREQ(level, "ERROR");
  EXPECT_EQ(GetPrivateProfileString("LOG", "LEVEL", "ERROR", level, kBufferBytes, ""), 5U);
  EXPECT_STREQ(level, "ERROR");
}

TEST(GetPrivateProfileString, CopiesWhatFitsWithItsNul) {
  const struct {
    int32_t size;
    const char* value;
    const char* fallback;
    std::pair<uint64_t, std::string> expected;
  } rows[] = {
      {16, "ERROR", "", Left(5, std::string("ERROR\0", 6))},
      {6, "ERROR", "", Left(5, std::string("ERROR\0", 6))},
      // Five bytes and their NUL don't fit; the empty fallback does.
      {5, "ERROR", "", Left(0, std::string("\0", 1))},
      {5, "ERROR", "WARN", Left(4, std::string("WARN\0", 5))},
      // Neither fits: the buffer stays.
      {5, "ERROR", "DEBUG", Left(0, "")},
      {1, "E", "F", Left(0, "")},
      {1, "E", "", Left(0, std::string("\0", 1))},
      {0, "E", "", Left(0, "")},
      // An empty value empties the buffer and then falls back.
      {5, "=x", "DEBUG", Left(0, std::string("\0", 1))},
      {6, "=x", "DEBUG", Left(5, std::string("DEBUG\0", 6))},
      // Negative sizes are unlimited.
      {-1, "ERROR", "", Left(5, std::string("ERROR\0", 6))},
      {INT_MIN, "ERROR", "", Left(5, std::string("ERROR\0", 6))},
      {-1, "=x", "DEBUG", Left(5, std::string("DEBUG\0", 6))},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(CopyInto(row.size, row.value, row.fallback), row.expected)
        << "size: " << row.size << ", value: " << row.value << ", fallback: " << row.fallback;
  }
}

TEST(GetPrivateProfileString, FallsBackRatherThanToASecondLineWhenTheFirstDoesNotFit) {
  EXPECT_EQ(CopyInto(5, "TOO LONG\nLEVEL=OK", "NONE"), Left(4, std::string("NONE\0", 5)));
}

TEST(GetPrivateProfileString, AnswersZeroAtOnceWithoutABuffer) {
  const FileTree folder;
  const std::string path = folder.WriteFile("log.ini", "[LOG]\nLEVEL=DEBUG\n");
  EXPECT_EQ(GetPrivateProfileString("LOG", "LEVEL", "ERROR", nullptr, kBufferBytes, path), 0U);
  // Were the file opened, this call would never return: a folder has no end that a read could reach.
  char untouched = '#';
  EXPECT_EQ(GetPrivateProfileString("LOG", "LEVEL", "", &untouched, 0, folder.path()), 0U);
  EXPECT_EQ(GetPrivateProfileString("LOG", "LEVEL", "", nullptr, 1, folder.path()), 0U);
  EXPECT_EQ(untouched, '#');
}

TEST(GetPrivateProfileString, ReadsTheFileAnewEachTimeAndNeverWritesIt) {
  const FileTree folder;
  char level[kBufferBytes];
  for (const char* content : {"[LOG]\nLEVEL=DEBUG\n", "[LOG]\nLEVEL=WARNING\n"}) {
    const std::string path = folder.WriteFile("log.ini", content);
    const auto before = std::filesystem::last_write_time(path);
    GetPrivateProfileString("LOG", "LEVEL", "", level, kBufferBytes, path);
    EXPECT_EQ("[LOG]\nLEVEL=" + std::string(level) + "\n", content);
    EXPECT_EQ(std::filesystem::last_write_time(path), before);
  }
}

TEST(GetPrivateProfileString, ClosesTheFile) {
  const FileTree folder;
  const std::string path = folder.WriteFile("log.ini", "[LOG]\nLEVEL=DEBUG\n");
  const int before = LowestFreeDescriptor();
  char level[kBufferBytes];
  for (const char* key : {"LEVEL", "OTHER"}) {
    GetPrivateProfileString("LOG", key, "", level, kBufferBytes, path);
    GetPrivateProfileInt("LOG", key, 0, path);
  }
  EXPECT_EQ(LowestFreeDescriptor(), before);
}

TEST(GetPrivateProfileInt, ReadsANumberUpToTheFirstOtherCharacter) {
  const struct {
    const char* value;
    uint32_t expected;
  } rows[] = {
      {"0", 0},
      {"17", 17},
      {"+5", 5},
      {"-1", 0xFFFFFFFF},
      {"-2147483648", 0x80000000},
      {" 12", 12},
      {"\t7", 7},
      {"12abc", 12},
      {"12 34", 12},
      {"1.9", 1},
      {"0x10", 0},
      {"010", 10},
      {"DEBUG", 0},
      {"\"5\"", 0},
      {"--5", 0},
      {"- 5", 0},
      {"2147483647", 0x7FFFFFFF},
      {"=x", 0},
      {"=5", 0},
      {"5=6", 5},
      // Beyond 32 bits the low ones count; beyond `long` the nearest number that it holds.
      {"4294967297", 1},
      {"-4294967297", 0xFFFFFFFF},
      {"9223372036854775808", 0xFFFFFFFF},
      {"-9223372036854775809", 0},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(NumberIn("[LOG]\nLEVEL=" + std::string(row.value) + "\n"), row.expected) << "value: " << row.value;
  }
}

TEST(GetPrivateProfileInt, FallsBackOnlyWithoutAFileSectionOrKey) {
  for (const char* content : {"", "[LOG]\n", "[LOG]\nX=5\n", "[SDK]\nLEVEL=5\n", "[LOG]\nLEVEL=\n", "[LOG]\nLEVEL\n",
                              "[LOG]\n[x\nLEVEL=5\n", "[LOG]\nLEVEL =5\n", "LEVEL=5\n"}) {
    EXPECT_EQ(NumberIn(content), std::nullopt) << "content: " << content;
  }
  const FileTree folder;
  EXPECT_EQ(GetPrivateProfileInt("LOG", "LEVEL", 0xFFFFFFFE, folder.PathOf("log.ini")), 0xFFFFFFFE);
}

TEST(GetPrivateProfileInt, FollowsTheSameRulesForTheFile) {
  EXPECT_EQ(NumberIn("  [ log ]\r\n\r\n;LEVEL=1\r\n  level=8"), 8U);
  EXPECT_EQ(NumberIn("[LOG]\nLEVEL=\nLEVEL=9\nLEVEL=10\n"), 9U);
  EXPECT_EQ(NumberIn("[LOG]\n" + std::string(2047, 'x') + "LEVEL=11\n"), 11U);
  const FileTree folder;
  EXPECT_EQ(GetPrivateProfileInt(" log ", "level", 0, folder.WriteFile("log.ini", "[LOG]\nLEVEL=12\n")), 12U);
}
