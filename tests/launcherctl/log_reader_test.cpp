#include "launcherctl/log_reader.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "tests/support/file_tree.h"

static std::string Line(const std::string& level, const std::string& message, const std::string& second = "00") {
  std::string column = level;
  while (column.size() < 8) column += ' ';
  return "2026-11-20T21:39:" + second + ".123+01:00 " + column + " launcher     4711     4712 " + message + "\n";
}

static Log OneFile(const std::string& text) { return ParseLog({text}); }

TEST(ParseRecord, TakesTheColumnsApart) {
  LogRecord record;
  ASSERT_TRUE(
      ParseRecord("2026-11-20T21:39:00.123+01:00 ERROR    launcher     4711 123456789012 [LAUNCHER  ] Failed to "
                  "fork sync",
                  record));
  EXPECT_EQ(record.time_ms, 1795207140123);
  EXPECT_EQ(record.utc_offset_seconds, 3600);
  EXPECT_EQ(record.level, "ERROR");
  EXPECT_EQ(record.module, "launcher");
  EXPECT_EQ(record.process, 4711);
  EXPECT_EQ(record.thread, 123456789012U);
  EXPECT_EQ(record.message, "[LAUNCHER  ] Failed to fork sync");
  EXPECT_EQ(record.kind, RecordKind::kForkFailed);
  EXPECT_EQ(record.name, "sync");
}

TEST(ParseRecord, ReadsAnOffsetWestOfGreenwich) {
  LogRecord record;
  ASSERT_TRUE(ParseRecord("2026-11-20T16:09:00.123-04:30 DEBUG    launcher 1 2 x", record));
  EXPECT_EQ(record.time_ms, 1795207140123);
  EXPECT_EQ(record.utc_offset_seconds, -16200);
}

TEST(ParseRecord, TellsKindsApart) {
  const struct {
    const char* level;
    const char* message;
    RecordKind kind;
    const char* name;
  } rows[] = {
      {"DEBUG", "[LAUNCHER  ] Start to fork sync", RecordKind::kStart, "sync"},
      {"DEBUG", "[LAUNCHER  ] Start to fork ", RecordKind::kStart, ""},
      {"ERROR", "[LAUNCHER  ] sync 715 is killed. ret = 715, status = 768", RecordKind::kEnd, "sync"},
      {"ERROR", "[LAUNCHER  ]  715 is killed. ret = -1, status = 0", RecordKind::kEnd, ""},
      {"ERROR", "[LAUNCHER  ] Failed to fork sync", RecordKind::kForkFailed, "sync"},
      {"ERROR", "[LAUNCHER  ] program path of sync is empty", RecordKind::kNoProgram, "sync"},
      {"ERROR", "[LAUNCHER  ] There is an item has no name.", RecordKind::kNameless, ""},
      {"ERROR", "[LAUNCHER  ] Error while parsing saved json string.", RecordKind::kParseError, ""},
      {"ERROR", "[LOGGER    ] 3 records lost, errno 28", RecordKind::kLost, ""},
      {"ERROR", "[LOGGER    ] 1 record lost, errno 28", RecordKind::kLost, ""},
      {"ERROR", "[LAUNCHER  ] a name that is too lon [cut]", RecordKind::kOther, ""},
      {"ERROR", "something else", RecordKind::kOther, ""},
      // Names that look like other messages: the level decides, then the right end.
      {"DEBUG", "[LAUNCHER  ] Start to fork x 715 is killed. ret = 715, status = 0", RecordKind::kStart,
       "x 715 is killed. ret = 715, status = 0"},
      {"ERROR", "[LAUNCHER  ] Start to fork x 715 is killed. ret = 715, status = 0", RecordKind::kEnd,
       "Start to fork x"},
      {"ERROR", "[LAUNCHER  ] a 1 is killed. ret = 1, status = 9 715 is killed. ret = 715, status = 0",
       RecordKind::kEnd, "a 1 is killed. ret = 1, status = 9"},
      {"ERROR", "[LAUNCHER  ] Failed to fork a is empty", RecordKind::kForkFailed, "a is empty"},
  };
  for (const auto& row : rows) {
    const Log log = OneFile(Line(row.level, row.message));
    ASSERT_EQ(log.records.size(), 1U) << row.message;
    EXPECT_EQ(log.records[0].kind, row.kind) << row.message;
    EXPECT_EQ(log.records[0].name, row.name) << row.message;
  }
}

TEST(ParseRecord, ReadsAnEndsNumbers) {
  const Log log = OneFile(Line("ERROR", "[LAUNCHER  ] a b 715 is killed. ret = -1, status = 32512"));
  EXPECT_EQ(log.records[0].child, 715);
  EXPECT_EQ(log.records[0].ret, -1);
  EXPECT_EQ(log.records[0].status, 32512);
}

TEST(ParseRecord, SaysWhenAnEndMayBeAFailedFork) {
  const std::string end = " 715 is killed. ret = 715, status = 0";
  EXPECT_TRUE(OneFile(Line("ERROR", "[LAUNCHER  ] Failed to fork x" + end)).records[0].may_be_failed_fork);
  EXPECT_FALSE(OneFile(Line("ERROR", "[LAUNCHER  ] x" + end)).records[0].may_be_failed_fork);
}

TEST(ParseRecord, RefusesWhatIsNoRecord) {
  const char* const rows[] = {"",
                              "hello",
                              "2026-11-20T21:39:00.123+01:00",
                              "2026-11-20T21:39:00.123+01:00 ERROR",
                              "2026-11-20T21:39:00.123+01:00 ERROR launcher x 4712 m",
                              "2026-11-20T21:39:00.123+01:00 ERROR launcher 4711 99999999999999999999 m",
                              "2026-11-20T21:39:00.123+01:00 ERROR launcher 4711 4712",
                              "2026-13-20T21:39:00.123+01:00 ERROR launcher 4711 4712 m",
                              "2026-11-20 21:39:00.123+01:00 ERROR launcher 4711 4712 m"};
  LogRecord record;
  for (const char* row : rows) EXPECT_FALSE(ParseRecord(row, record)) << row;
}

TEST(ParseLog, KeepsTheOrderOfTheFilesAndPassesOverTornLines) {
  const Log log = ParseLog(
      {Line("ERROR", "third") + "2026-11-20T21:39:00.123+01:00 ERR\n" + Line("ERROR", "fourth") + "2026-11-20T21:39",
       Line("ERROR", "first") + Line("ERROR", "second")});
  ASSERT_EQ(log.records.size(), 4U);
  EXPECT_EQ(log.records[0].message, "first");
  EXPECT_EQ(PlaceOf(log.records[0], log), "launcher.log.1:1");
  EXPECT_EQ(log.records[3].message, "fourth");
  EXPECT_EQ(PlaceOf(log.records[3], log), "launcher.log:3");
  EXPECT_EQ(log.files[0].torn_lines, 1U);
}

TEST(ReadLog, ReadsTheOlderFilesFirst) {
  const FileTree tree;
  (void)tree.WriteFile("launcher.log", Line("ERROR", "third"));
  (void)tree.WriteFile("launcher.log.1", Line("ERROR", "second"));
  (void)tree.WriteFile("launcher.log.2", Line("ERROR", "first"));
  const Log log = ReadLog(tree.path());
  ASSERT_EQ(log.records.size(), 3U);
  EXPECT_EQ(log.records[0].message, "first");
  EXPECT_EQ(log.records[2].message, "third");
  EXPECT_EQ(log.files[3].state, LogFile::State::kMissing);
}

TEST(ReadLog, LeavesOutWhatIsOlderThanAskedFor) {
  const FileTree tree;
  (void)tree.WriteFile("launcher.log", Line("ERROR", "new", "50"));
  (void)tree.WriteFile("launcher.log.1", Line("ERROR", "middle", "30"));
  (void)tree.WriteFile("launcher.log.2", Line("ERROR", "old", "10"));
  constexpr int64_t kAtSecond40 = 1795207180000;
  const Log log = ReadLog(tree.path(), kAtSecond40);
  ASSERT_EQ(log.records.size(), 2U);  // The middle one may hold records from then on.
  EXPECT_EQ(log.files[2].state, LogFile::State::kNotNeeded);
  EXPECT_TRUE(log.ReachesBackTo(kAtSecond40));
}

TEST(ReadLog, NeverWaitsOnWhatIsNoFile) {
  const FileTree tree;
  ASSERT_EQ(mkfifo(tree.PathOf("launcher.log").c_str(), 0600), 0);
  (void)tree.MakeFolder("launcher.log.1");
  std::filesystem::create_symlink("/dev/zero", tree.PathOf("launcher.log.2"));
  const Log log = ReadLog(tree.path());
  for (int i = 0; i < 3; ++i) EXPECT_EQ(log.files[static_cast<size_t>(i)].state, LogFile::State::kNotAFile) << i;
  EXPECT_TRUE(log.records.empty());
  EXPECT_FALSE(log.ReachesBackTo(0));
}

TEST(ReachesBackTo, HoldsForALogThatWasBegunByThen) {
  const FileTree tree;
  (void)tree.WriteFile("launcher.log", "");
  const Log log = ReadLog(tree.path());
  if (log.files[0].born_ms == 0) GTEST_SKIP() << "this file system does not tell when a file was made";
  EXPECT_TRUE(log.ReachesBackTo(log.files[0].born_ms));
  EXPECT_TRUE(log.ReachesBackTo(log.files[0].born_ms + 1));
}

TEST(ReachesBackTo, FailsForALogThatWasBegunAnewLater) {
  const FileTree tree;
  (void)tree.WriteFile("launcher.log", "");
  const Log log = ReadLog(tree.path());
  if (log.files[0].born_ms == 0) GTEST_SKIP() << "this file system does not tell when a file was made";
  EXPECT_FALSE(log.ReachesBackTo(log.files[0].born_ms - 60000));
}

TEST(ReachesBackTo, FailsWhereTheOldestFileMayHaveHadOneBeforeIt) {
  std::vector<std::string> texts(5, Line("ERROR", "x", "10"));
  const Log log = ParseLog(texts);
  EXPECT_FALSE(log.ReachesBackTo(log.records[0].time_ms));
  EXPECT_TRUE(log.ReachesBackTo(log.records[0].time_ms + 1));
}

TEST(LoggedForm, IsWhatTheLogWrites) {
  EXPECT_EQ(LoggedForm("a\n\t\r\x1b\x7f\\ \xC3\xA4 \xC2\x85 \xFF \xE2\x80\xAE"),
            "a\\n\\t\\r\\x1B\\x7F\\ \xC3\xA4 \\xC2\\x85 \\xFF \\xE2\\x80\\xAE");
}
