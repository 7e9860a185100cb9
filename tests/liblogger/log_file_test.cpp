#include "liblogger/log_file.h"

#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

#include "tests/liblogger/support.h"

using Lines = std::vector<std::string>;

// Appends with looks that are never taken for recent ones.
static LogFile::Result Append(LogFile& file, const std::string& text) {
  static int64_t now_ns = 0;
  now_ns += 1000000;
  return file.Append(text.data(), text.size(), now_ns);
}

TEST(LogFile, RenamesAFileThatHasReachedItsSizeBeforeTheNextRecord) {
  const TempFolder temp;
  const std::string path = temp.path() + "/x.log";
  LogFile file(path.c_str(), {10, 2});
  for (const char* text : {"1234567890\n", "2\n", "34567890\n", "4\n"}) EXPECT_EQ(Append(file, text).error, 0);
  EXPECT_EQ(ReadLines(path), Lines{"4"});
  EXPECT_EQ(ReadLines(path + ".1"), (Lines{"2", "34567890"}));
  EXPECT_EQ(ReadLines(path + ".2"), Lines{"1234567890"});
}

TEST(LogFile, KeepsAsManyOlderFilesAsItIsTold) {
  const TempFolder temp;
  const std::string path = temp.path() + "/x.log";
  LogFile file(path.c_str(), {2, 4});
  for (int i = 0; i < 10; ++i) EXPECT_EQ(Append(file, std::to_string(i) + "\n").error, 0);
  EXPECT_EQ(ReadFile(path), "9\n");
  for (int number = 1; number <= 4; ++number) {
    EXPECT_EQ(ReadFile(path + "." + std::to_string(number)), std::to_string(9 - number) + "\n") << number;
  }
  EXPECT_FALSE(std::filesystem::exists(path + ".5"));
}

TEST(LogFile, FillsAGapFirst) {
  const TempFolder temp;
  const std::string path = temp.path() + "/x.log";
  LogFile file(path.c_str(), {2, 4});
  for (int i = 0; i < 5; ++i) EXPECT_EQ(Append(file, std::to_string(i) + "\n").error, 0);
  std::filesystem::remove(path + ".2");
  EXPECT_EQ(Append(file, "5\n").error, 0);
  EXPECT_EQ(ReadFile(path + ".1"), "4\n");
  EXPECT_EQ(ReadFile(path + ".2"), "3\n");
  EXPECT_EQ(ReadFile(path + ".3"), "1\n");
  EXPECT_EQ(ReadFile(path + ".4"), "0\n");
}

TEST(LogFile, FollowsWhenAnotherOneRotates) {
  const TempFolder temp;
  const std::string path = temp.path() + "/x.log";
  LogFile one(path.c_str(), {4, 4});
  LogFile other(path.c_str(), {4, 4});
  EXPECT_EQ(Append(one, "1 a\n").error, 0);
  EXPECT_EQ(Append(other, "2 a\n").error, 0);
  EXPECT_EQ(Append(one, "1 b\n").error, 0);
  EXPECT_EQ(ReadFile(path), "1 b\n");
  EXPECT_EQ(ReadFile(path + ".1"), "2 a\n");
  EXPECT_EQ(ReadFile(path + ".2"), "1 a\n");
}

TEST(LogFile, WritesOnWhenAnotherOneIsRotating) {
  const TempFolder temp;
  const std::string path = temp.path() + "/x.log";
  LogFile file(path.c_str(), {4, 4});
  EXPECT_EQ(Append(file, "123\n").error, 0);
  const std::unique_ptr<FILE, int (*)(FILE*)> locked(fopen(path.c_str(), "r"), &fclose);
  ASSERT_EQ(flock(fileno(locked.get()), LOCK_EX | LOCK_NB), 0);
  EXPECT_EQ(Append(file, "456\n").error, 0);
  EXPECT_EQ(ReadFile(path), "123\n456\n");
  ASSERT_EQ(flock(fileno(locked.get()), LOCK_UN), 0);
  EXPECT_EQ(Append(file, "789\n").error, 0);
  EXPECT_EQ(ReadFile(path), "789\n");
  EXPECT_EQ(ReadFile(path + ".1"), "123\n456\n");
}

TEST(LogFile, RotatesInAForkedChildThatSharesTheDescriptor) {
  const TempFolder temp;
  const std::string path = temp.path() + "/x.log";
  LogFile file(path.c_str(), {4, 4});
  EXPECT_EQ(Append(file, "123\n").error, 0);
  EXPECT_EQ(RunInChild([&file] {
              file.AfterFork();
              return Append(file, "456\n").error;
            }),
            0);
  EXPECT_EQ(Append(file, "789\n").error, 0);
  EXPECT_EQ(ReadFile(path), "789\n");
  EXPECT_EQ(ReadFile(path + ".1"), "456\n");
  EXPECT_EQ(ReadFile(path + ".2"), "123\n");
}

TEST(LogFile, SaysWhyNothingWasWritten) {
  const TempFolder temp;
  const std::string path = temp.path() + "/x.log";
  std::filesystem::create_directory(path);
  LogFile file(path.c_str(), kDefaultLimits);
  EXPECT_EQ(Append(file, "x\n").error, EISDIR);
  std::filesystem::remove(path);
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(Append(file, "x\n").error, EINVAL);
  std::filesystem::remove(path);
  std::filesystem::create_symlink("elsewhere", path);
  EXPECT_EQ(Append(file, "x\n").error, ELOOP);
  std::filesystem::remove(path);
  EXPECT_EQ(Append(file, "x\n").error, 0);
  EXPECT_EQ(ReadFile(path), "x\n");
}

TEST(LogFile, WritesToTheFileBeforeWhileThePathCannotBeOpened) {
  const TempFolder temp;
  const std::string path = temp.path() + "/x.log";
  LogFile file(path.c_str(), kDefaultLimits);
  EXPECT_EQ(Append(file, "1\n").error, 0);
  std::filesystem::rename(path, path + ".moved");
  std::filesystem::create_directory(path);
  EXPECT_EQ(Append(file, "2\n").error, 0);
  EXPECT_EQ(ReadFile(path + ".moved"), "1\n2\n");
  std::filesystem::remove(path + ".moved");
  EXPECT_EQ(Append(file, "3\n").error, EISDIR);
}

TEST(LogFile, TakesALookForTrueForTwoMicrosecondsOfEitherDirection) {
  const struct {
    int64_t passed_ns;
    bool looks;
  } rows[] = {{0, false}, {1999, false}, {-1999, false}, {2000, true}, {-2000, true}, {-3600000000000, true}};
  for (const auto& row : rows) {
    const TempFolder temp;
    const std::string path = temp.path() + "/x.log";
    LogFile file(path.c_str(), kDefaultLimits);
    file.Open();
    const int64_t look_ns = 5000000000000;
    EXPECT_EQ(file.Append("1\n", 2, look_ns).error, 0);
    std::filesystem::remove(path);
    EXPECT_EQ(file.Append("2\n", 2, look_ns + row.passed_ns).error, 0);
    EXPECT_EQ(std::filesystem::exists(path), row.looks) << row.passed_ns;
  }
}
