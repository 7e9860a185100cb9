// What the log settings ask the INI reader, and what they make of answers that the real reader does not give. In a
// program of its own, because it replaces the reader.

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "common/logging/log.h"
#include "common/settings/log_settings.h"
#include "common/settings/paths.h"
#include "common/settings/profile.h"
#include "tests/support/made_up_executable.h"
#include "tests/support/recording_log.h"

struct ReaderRequest {
  std::string section;
  std::string key;
  std::string fallback;
  int32_t size;
  std::string path;
};

static std::vector<ReaderRequest> g_requests;
static std::string g_text;     // What the reader puts into the buffer,
static uint64_t g_length = 0;  // and what it returns.

uint64_t GetPrivateProfileString(std::string section, std::string key, std::string fallback, char* buffer, int32_t size,
                                 std::string path) {
  g_requests.push_back({section, key, fallback, size, path});
  memcpy(buffer, g_text.c_str(), g_text.size() + 1);
  return g_length;
}

class ReplacedReader : public testing::Test {
 protected:
  ReplacedReader() {
    SetExecutablePath("/no such folder/A.app/Contents/MacOS/A");
    logger = &log;
    Answer("", 0);
  }
  ~ReplacedReader() override { logger = nullptr; }

  static void Answer(const std::string& text, uint64_t length) {
    g_requests.clear();
    g_text = text;
    g_length = length;
  }

  RecordingLog log;
};

TEST_F(ReplacedReader, IsAskedForTheSdkName) {
  Answer("S", 1);
  EXPECT_EQ(GetSDKName(), "S");
  ASSERT_EQ(g_requests.size(), 1U);
  EXPECT_EQ(g_requests[0].section, "SDK");
  EXPECT_EQ(g_requests[0].key, "NAME");
  EXPECT_EQ(g_requests[0].fallback, "");
  EXPECT_EQ(g_requests[0].size, 1024);
  EXPECT_EQ(g_requests[0].path, "/no such folder/A.app/Contents/MacOS/../Resources//qz3api.ini");
}

TEST_F(ReplacedReader, GivesTheSdkNameByItsBufferNotByItsCount) {
  Answer("S", 0);
  EXPECT_EQ(GetSDKName(), "S");
  EXPECT_EQ(GetLogPath(), GetHomePath() + "/Library/Logs/S/qz3log");
}

TEST_F(ReplacedReader, IsAskedForTheLevelAfterTheSdkName) {
  Answer("DEBUG", 5);
  EXPECT_EQ(GetLogLevel(), LOGLEVEL_DEBUG);
  ASSERT_EQ(g_requests.size(), 2U);
  EXPECT_EQ(g_requests[0].section, "SDK");
  EXPECT_EQ(g_requests[1].section, "LOG");
  EXPECT_EQ(g_requests[1].key, "LEVEL");
  EXPECT_EQ(g_requests[1].fallback, "ERROR");
  EXPECT_EQ(g_requests[1].size, 1024);
  EXPECT_EQ(g_requests[1].path, GetHomePath() + "/Library/Application Support/DEBUG/log.ini");
}

TEST_F(ReplacedReader, IsAskedAgainAtEachCall) {
  (void)GetLogLevel();
  (void)GetLogPath();
  (void)GetLogLevel();
  (void)GetSDKName();
  EXPECT_EQ(g_requests.size(), 6U);
}

TEST_F(ReplacedReader, HasItsFailureLogged) {
  EXPECT_EQ(GetLogLevel(), LOGLEVEL_ERROR);
  const auto records = log.Records();
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].level, LOGLEVEL_ERROR);
  EXPECT_EQ(records[0].format, "[SERVICE   ] Failed to get log level");
}

TEST_F(ReplacedReader, GivesTheLevelByItsBufferEvenWhenItFails) {
  Answer("WARNING", 0);
  EXPECT_EQ(GetLogLevel(), LOGLEVEL_WARNING);
  EXPECT_EQ(log.Records().size(), 1U);
}

TEST_F(ReplacedReader, MayFailWithoutALogger) {
  logger = nullptr;
  EXPECT_EQ(GetLogLevel(), LOGLEVEL_ERROR);
  EXPECT_TRUE(log.Records().empty());
}

TEST_F(ReplacedReader, IsNotLoggedWhenItAnswers) {
  Answer("DEBUG", 5);
  (void)GetLogLevel();
  (void)GetLogPath();
  Answer("", 0);
  (void)GetSDKName();
  EXPECT_TRUE(log.Records().empty());
}
