#include "common/logging/log.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/recording_log.h"

TEST(LogCall, IsSilentWithoutALogger) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  __LOG__A(nullptr, LOGLEVEL_ERROR, "[LAUNCHER  ] Failed to open file %s", "list.json");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(LogCall, HandsOverLevelFormatAndArguments) {
  RecordingLog log;
  const std::string name = "100% sync";
  __LOG__A(&log, LOGLEVEL_WARNING, "[LAUNCHER  ] %s %d of %lld, %.1f", name.c_str(), -7, 5000000000LL, 2.5);
  const auto records = log.Records();
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].level, LOGLEVEL_WARNING);
  EXPECT_EQ(records[0].format, "[LAUNCHER  ] %s %d of %lld, %.1f");
  EXPECT_EQ(records[0].text, "[LAUNCHER  ] 100% sync -7 of 5000000000, 2.5");
}

TEST(LogCall, LeavesTheFilteringByLevelToTheLogger) {
  RecordingLog log;
  for (const LOGLEVEL level :
       {LOGLEVEL_DEBUG, LOGLEVEL_MESSAGE, LOGLEVEL_WARNING, LOGLEVEL_ERROR, LOGLEVEL_CRITICAL, LOGLEVEL_VERBOSE}) {
    const size_t before = log.Records().size();
    __LOG__A(&log, level, "text");
    ASSERT_EQ(log.Records().size(), before + 1) << level;
    EXPECT_EQ(log.Records().back().level, level);
  }
}

TEST(LogCall, FormatsNothingItself) {
  RecordingLog log;
  __LOG__A(&log, LOGLEVEL_ERROR, "[SERVICE   ] 100%% done");
  EXPECT_EQ(log.Records().at(0).format, "[SERVICE   ] 100%% done");
  EXPECT_EQ(log.Records().at(0).text, "[SERVICE   ] 100% done");
}

TEST(Logger, IsNullUntilItIsStarted) { EXPECT_EQ(logger, nullptr); }
