#include "liblogger/record.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <clocale>
#include <cstdio>
#include <string>
#include <vector>

// What stands before the message with the following origin.
static constexpr size_t kColumnsBytes = 66;

static RecordOrigin Origin() { return {{1795210740, 123999999}, 3600, LOGLEVEL_ERROR, "launcher", 4711, 4712}; }

__attribute__((format(printf, 2, 3))) static std::string Format(const RecordOrigin& origin, const char* format, ...) {
  std::vector<char> record(kLongestRecordBytes);
  va_list arguments;
  va_start(arguments, format);
  const size_t length = FormatRecord(origin, format, arguments, record.data());
  va_end(arguments);
  return {record.data(), length};
}

// The message that the text becomes, without the columns and the line feed.
static std::string Shown(const std::string& text) {
  std::string record;
  if (text.find('\0') == std::string::npos) {
    record = Format(Origin(), "%s", text.c_str());
  } else {
    EXPECT_EQ(text, std::string("a\0b", 3)) << "only this text with a NUL can be formatted";
    record = Format(Origin(), "a%cb", 0);
  }
  return record.substr(kColumnsBytes, record.size() - kColumnsBytes - 1);
}

TEST(FormatRecord, WritesTheColumnsTheMessageAndALineFeed) {
  EXPECT_EQ(Format(Origin(), "[LAUNCHER  ] Failed to fork %s", "sync"),
            "2026-11-20T22:39:00.123+01:00 ERROR    launcher     4711     4712 [LAUNCHER  ] Failed to fork sync\n");
}

TEST(FormatRecord, ShowsEachLevelByNameAndAWrongOneByNumber) {
  const struct {
    int level;
    const char* column;
  } rows[] = {
      {1, "DEBUG    "},
      {2, "MESSAGE  "},
      {4, "WARNING  "},
      {8, "ERROR    "},
      {16, "CRITICAL "},
      {17, "VERBOSE  "},
      {0, "0        "},
      {3, "3        "},
      {-12, "-12      "},
      {1000, "1000     "},
      {2147483647, "2147483647 "},
      {-2147483647 - 1, "-2147483648 "},
  };
  for (const auto& row : rows) {
    RecordOrigin origin = Origin();
    origin.level = static_cast<LOGLEVEL>(row.level);
    EXPECT_EQ(Format(origin, "%s", "x").substr(30), std::string(row.column) + "launcher     4711     4712 x\n")
        << "level: " << row.level;
  }
}

TEST(FormatRecord, ShowsTheLocalTimeThatTheSystemShows) {
  const time_t moments[] = {0,         951782399,  951782400,  951868800,  1709164800, 1709251199,
                            978307199, 4102444799, 4107542400, 1795210740, 1,          86399};
  for (const time_t moment : moments) {
    for (const long offset : {0L, 3600L, -3600L, 20700L, -12600L, 50400L, -43200L}) {
      RecordOrigin origin = Origin();
      origin.time = {moment, 7000000};
      origin.utc_offset_seconds = offset;
      const time_t local = moment + offset;
      tm parts = {};
      ASSERT_NE(gmtime_r(&local, &parts), nullptr);
      char expected[64];
      const size_t length = strftime(expected, sizeof(expected), "%Y-%m-%dT%H:%M:%S.007", &parts);
      const long minutes = (offset < 0 ? -offset : offset) / 60;
      (void)snprintf(expected + length, sizeof(expected) - length, "%c%02ld:%02ld ", offset < 0 ? '-' : '+',
                     minutes / 60, minutes % 60);
      EXPECT_EQ(Format(origin, "%s", "x").substr(0, 30), expected) << moment << " offset " << offset;
    }
  }
}

TEST(FormatRecord, WidensAColumnRatherThanCutANumber) {
  RecordOrigin origin = Origin();
  origin.process = 2147483647;
  origin.thread = UINT64_MAX;
  EXPECT_EQ(Format(origin, "%s", "x").substr(30), "ERROR    launcher 2147483647 18446744073709551615 x\n");
}

TEST(FormatRecord, KeepsEveryRecordOneLineThatATerminalCanShow) {
  const struct {
    const char* what;
    std::string text;
    std::string expected;
  } rows[] = {
      {"nothing", "", ""},
      {"printable ASCII", " ~{}\\n", " ~{}\\n"},
      {"a forged record", "a\n2026-11-20T21:39:00", "a\\n2026-11-20T21:39:00"},
      {"line ends and a tab", "\r\n\t", "\\r\\n\\t"},
      {"a terminal sequence", "\x1B[2J", "\\x1B[2J"},
      {"DEL", "\x7F", "\\x7F"},
      {"NUL", std::string("a\0b", 3), "a\\x00b"},
      {"first C1 control", "\xC2\x80", "\\xC2\\x80"},
      {"CSI as C1 control",
       "\xC2\x9B"
       "2J",
       "\\xC2\\x9B"
       "2J"},
      {"last C1 control", "\xC2\x9F", "\\xC2\\x9F"},
      {"first character above them", "\xC2\xA0", "\xC2\xA0"},
      {"two bytes", "\xC3\xA9", "\xC3\xA9"},
      {"three bytes", "\xE2\x82\xAC", "\xE2\x82\xAC"},
      {"four bytes", "\xF0\x9F\x98\x80", "\xF0\x9F\x98\x80"},
      {"last code point", "\xF4\x8F\xBF\xBF", "\xF4\x8F\xBF\xBF"},
      {"Arabic letter mark", "\xD8\x9C", "\\xD8\\x9C"},
      {"its neighbours", "\xD8\x9B\xD8\x9D", "\xD8\x9B\xD8\x9D"},
      {"zero-width joiner", "\xE2\x80\x8D", "\xE2\x80\x8D"},
      {"left-to-right mark", "\xE2\x80\x8E", "\\xE2\\x80\\x8E"},
      {"right-to-left mark", "\xE2\x80\x8F", "\\xE2\\x80\\x8F"},
      {"hyphen and bullet", "\xE2\x80\x90\xE2\x80\xA7", "\xE2\x80\x90\xE2\x80\xA7"},
      {"line separator", "\xE2\x80\xA8", "\\xE2\\x80\\xA8"},
      {"paragraph separator", "\xE2\x80\xA9", "\\xE2\\x80\\xA9"},
      {"first embedding", "\xE2\x80\xAA", "\\xE2\\x80\\xAA"},
      {"right-to-left override", "a\xE2\x80\xAEtxt.exe", "a\\xE2\\x80\\xAEtxt.exe"},
      {"narrow no-break space", "\xE2\x80\xAF", "\xE2\x80\xAF"},
      {"before the isolates", "\xE2\x81\xA5", "\xE2\x81\xA5"},
      {"first isolate", "\xE2\x81\xA6", "\\xE2\\x81\\xA6"},
      {"end of an isolate", "\xE2\x81\xA9", "\\xE2\\x81\\xA9"},
      {"behind the isolates", "\xE2\x81\xAA", "\xE2\x81\xAA"},
      {"the same bytes elsewhere", "\xE3\x80\xAE\xE2\x82\xAE", "\xE3\x80\xAE\xE2\x82\xAE"},
      {"raw CSI",
       "\x9B"
       "2J",
       "\\x9B"
       "2J"},
      {"stray continuation", "a\x80z", "a\\x80z"},
      {"cut off", "a\xE2\x82", "a\\xE2\\x82"},
      {"interrupted", "\xE2\x82z", "\\xE2\\x82z"},
      {"overlong slash", "\xC0\xAF", "\\xC0\\xAF"},
      {"overlong, three bytes", "\xE0\x9F\xBF", "\\xE0\\x9F\\xBF"},
      {"overlong, four bytes", "\xF0\x8F\xBF\xBF", "\\xF0\\x8F\\xBF\\xBF"},
      {"surrogate", "\xED\xA0\x80", "\\xED\\xA0\\x80"},
      {"above the last", "\xF4\x90\x80\x80", "\\xF4\\x90\\x80\\x80"},
      {"FE and FF", "\xFE\xFF", "\\xFE\\xFF"},
  };
  for (const auto& row : rows) EXPECT_EQ(Shown(row.text), row.expected) << row.what;
}

TEST(FormatRecord, CutsALongMessageBehindItsLastWholeCharacterAndMarksIt) {
  const std::string full(kLongestMessageBytes, 'a');
  EXPECT_EQ(Shown(full), full);
  EXPECT_EQ(Shown(full + "b"), full + " [cut]");
  EXPECT_EQ(Shown(full.substr(3) + "\xE2\x82\xAC"), full.substr(3) + "\xE2\x82\xAC");
  const std::string euro = "\xE2\x82\xAC";
  for (size_t missing = 0; missing <= 4; ++missing) {
    const std::string head(kLongestMessageBytes - missing, 'a');
    const std::string expected = missing < 3 ? head + " [cut]" : head + euro + (missing == 3 ? " [cut]" : "z [cut]");
    EXPECT_EQ(Shown(head + euro + "zz"), expected) << missing << " bytes of room";
  }
}

TEST(FormatRecord, CountsALongMessageBeforeItsEscapes) {
  std::string escapes;
  for (size_t i = 0; i < kLongestMessageBytes; ++i) escapes += "\\x01";
  EXPECT_EQ(Shown(std::string(kLongestMessageBytes, '\x01')), escapes);
  EXPECT_EQ(Shown(std::string(kLongestMessageBytes + 1, '\x01')), escapes + " [cut]");
}

TEST(FormatRecord, FitsItsBufferWhateverTheColumnsHold) {
  const std::string module(kLongestModuleBytes, 'm');
  RecordOrigin origin = {{INT64_MAX / 4, 999999999},
                         -50400,
                         static_cast<LOGLEVEL>(-2147483647 - 1),
                         module.c_str(),
                         2147483647,
                         UINT64_MAX};
  EXPECT_LE(Format(origin, "%s", std::string(kLongestMessageBytes + 1, '\x01').c_str()).size(), kLongestRecordBytes);
  std::vector<char> record(kLongestLossRecordBytes);
  EXPECT_LE(FormatLossRecord(origin, UINT64_MAX, 2147483647, record.data()), kLongestLossRecordBytes);
}

TEST(FormatRecord, HandsEveryFormatToTheCLibrary) {
  const auto message = [](const std::string& record) {
    return record.substr(kColumnsBytes, record.size() - kColumnsBytes - 1);
  };
  EXPECT_EQ(
      message(Format(Origin(), "%5d|%-5s|%05.1f|%#x|%c|%%|%zu|%lld", 42, "ab", 3.14159, 255U, 'z', size_t{7}, -1LL)),
      "   42|ab   |003.1|0xff|z|%|7|-1");
  EXPECT_EQ(message(Format(Origin(), "%*d|%.*s", 4, 7, 2, "abcdef")), "   7|ab");
  EXPECT_EQ(message(Format(Origin(), "%100000d", 1)), std::string(kLongestMessageBytes, ' ') + " [cut]");
  EXPECT_EQ(message(Format(Origin(), "%ls", L"wide")), "wide");
  errno = ENOSPC;
  EXPECT_EQ(message(Format(Origin(), "%d", errno)), std::to_string(ENOSPC));
}

TEST(FormatRecord, ShowsTheFormatOfAMessageThatCannotBeFormatted) {
  ASSERT_NE(setlocale(LC_ALL, "C"), nullptr);
  const wchar_t unknown[] = {0x20AC, 0};
  const std::string record = Format(Origin(), "\x1B value %ls", unknown);
  EXPECT_EQ(record.substr(kColumnsBytes), "(unformattable) \\x1B value %ls\n");
}

TEST(FormatRecord, AcceptsANullFormat) {
  // Called by its address, since the compiler objects to a format that it knows to be null.
  size_t (*const volatile format_record)(const RecordOrigin&, const char*, va_list, char*) = FormatRecord;
  std::vector<char> record(kLongestRecordBytes);
  va_list arguments = {};
  const size_t length = format_record(Origin(), nullptr, arguments, record.data());
  EXPECT_EQ(std::string(record.data(), length).substr(kColumnsBytes), "(null)\n");
}

TEST(FormatLossRecord, SaysHowManyAndWhy) {
  std::vector<char> record(kLongestLossRecordBytes);
  RecordOrigin origin = Origin();
  origin.level = LOGLEVEL_DEBUG;
  const auto format = [&](uint64_t count) {
    return std::string(record.data(), FormatLossRecord(origin, count, 28, record.data())).substr(30);
  };
  EXPECT_EQ(format(1), "ERROR    launcher     4711     4712 [LOGGER    ] 1 record lost, errno 28\n");
  EXPECT_EQ(format(20), "ERROR    launcher     4711     4712 [LOGGER    ] 20 records lost, errno 28\n");
}
