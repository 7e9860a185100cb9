#include "launcher/launch_list.h"

#include <gtest/gtest.h>

#include "common/logging/log.h"
#include "tests/support/files.h"
#include "tests/support/recording_log.h"
#include "tests/support/temp_folder.h"

TEST(ReadData, ReadsFilesAroundTheSizeOfAChunkWhole) {
  const TempFolder folder;
  for (const size_t size : {1U, 127U, 128U, 129U, 255U, 256U, 257U, 100000U}) {
    std::string bytes;
    for (size_t i = 0; i < size; ++i) bytes.push_back(static_cast<char>(i % 255 + 1));
    WriteFile(folder.path() + "/list", bytes);
    std::string text = "before";
    EXPECT_TRUE(ReadData(folder.path() + "/list", text)) << size;
    EXPECT_EQ(text, bytes) << size;
  }
}

TEST(ReadData, CutsTheTextAtItsFirstNul) {
  const TempFolder folder;
  const struct {
    const char* what;
    std::string bytes;
    std::string expected;
  } rows[] = {
      {"a NUL inside", std::string("{}\0rest", 7), "{}"},
      {"a NUL as first byte", std::string("\0{}", 3), ""},
      {"a NUL as last byte", std::string("{}\0", 3), "{}"},
      {"a NUL behind the first chunk", std::string(200, 'x') + std::string(1, '\0') + "y", std::string(200, 'x')},
  };
  for (const auto& row : rows) {
    WriteFile(folder.path() + "/list", row.bytes);
    std::string text = "before";
    EXPECT_TRUE(ReadData(folder.path() + "/list", text)) << row.what;
    EXPECT_EQ(text, row.expected) << row.what;
  }
}

TEST(ReadData, LeavesTheTextAloneAndLogsWhenThereIsNothingToRead) {
  const TempFolder folder;
  const std::string empty = folder.path() + "/empty";
  const std::string missing = folder.path() + "/missing";
  WriteFile(empty, "");
  const struct {
    std::string path;
    std::string expected;
  } rows[] = {{empty, "[LAUNCHER  ] Size of read " + empty + " is 0"},
              {missing, "[LAUNCHER  ] Failed to open file " + missing}};
  for (const auto& row : rows) {
    RecordingLog log;
    logger = &log;
    std::string text = "before";
    EXPECT_FALSE(ReadData(row.path, text));
    logger = nullptr;
    EXPECT_EQ(text, "before");
    ASSERT_EQ(log.Records().size(), 1U);
    EXPECT_EQ(log.Records()[0].text, row.expected);
    EXPECT_EQ(log.Records()[0].level, LOGLEVEL_ERROR);
  }
}

TEST(ReadData, IsSilentWithoutALogger) {
  std::string text = "before";
  EXPECT_FALSE(ReadData("/nonexistent/list", text));
  EXPECT_EQ(text, "before");
}
