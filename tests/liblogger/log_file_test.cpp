#include "liblogger/log_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <ctime>
#include <fstream>
#include <memory>
#include <thread>

#include "liblogger/burst.h"
#include "tests/liblogger/support.h"
#include "tests/support/sanitized.h"

using Lines = std::vector<std::string>;

// Appends with looks that are never taken for recent ones.
static LogFile::Result Append(LogFile& file, const std::string& text) {
  static int64_t now_ns = 0;
  now_ns += 1000000;
  return file.Append(text.data(), text.size(), now_ns);
}

static int64_t NowNs() {
  timespec now = {};
  (void)clock_gettime(CLOCK_REALTIME, &now);
  return int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

// What another process does that has the file open.
static void AppendTo(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary | std::ios::app) << text;
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

// Whether a record that begins `since_look_ns` after a look, in the midst of a burst, goes to the file that was looked
// at and has been removed since. That the burst goes on is said here: how long the machine takes is anybody's guess.
static bool FollowsALook(int64_t since_look_ns) {
  const TempFolder temp;
  const std::string path = temp.path() + "/x.log";
  LogFile file(path.c_str(), kDefaultLimits);
  file.Open();
  const int64_t look_ns = NowNs();
  EXPECT_EQ(file.Append("1\n", 2, look_ns).error, 0);
  std::filesystem::remove(path);
  if (CurrentBurst() != nullptr) CurrentBurst()->Written(&file, look_ns + since_look_ns);
  EXPECT_EQ(file.Append("2\n", 2, look_ns + since_look_ns).error, 0);
  return !std::filesystem::exists(path);
}

TEST(LogFile, LooksOnceForTheRecordsOfABurst) {
  if (CurrentBurst() == nullptr) GTEST_SKIP() << "every record looks on this platform";
  EXPECT_TRUE(FollowsALook(0));
  EXPECT_TRUE(FollowsALook(49999));
}

TEST(LogFile, LooksAgainAfterFiftyMicroseconds) { EXPECT_FALSE(FollowsALook(50000)); }

TEST(LogFile, TakesTheEndOfARecordForTheBursts) {
  Burst* const burst = CurrentBurst();
  if (burst == nullptr) GTEST_SKIP() << "every record looks on this platform";
  const TempFolder temp;
  LogFile file((temp.path() + "/x.log").c_str(), kDefaultLimits);
  file.Open();
  const int64_t before_ns = NowNs();
  EXPECT_EQ(file.Append("1\n", 2, before_ns - 1000000000).error, 0);  // It was begun a second ago.
  const int64_t after_ns = NowNs();
  bool goes_on = false;
  for (int64_t now_ns = before_ns; now_ns < after_ns + kShortestChangeNs; now_ns += kShortestChangeNs - 1) {
    goes_on = goes_on || burst->GoesOn(&file, now_ns);
  }
  EXPECT_TRUE(goes_on);
}

TEST(LogFile, LooksBeforeARecordThatTheThreadWritesAfterAnythingElse) {
  const TempFolder temp;
  const std::string path = temp.path() + "/x.log";
  LogFile file(path.c_str(), kDefaultLimits);
  for (int i = 0; i < 200; ++i) {
    EXPECT_EQ(file.Append("1\n", 2, NowNs()).error, 0);
    EXPECT_EQ(file.Append("2\n", 2, NowNs()).error, 0);
    ASSERT_EQ(remove(path.c_str()), 0) << i;
  }
}

TEST(LogFile, LooksBeforeEveryRecordWhileAnotherProcessWrites) {
  const TempFolder temp;
  const std::string path = temp.path() + "/x.log";
  LogFile file(path.c_str(), kDefaultLimits);
  for (int i = 0; i < 200; ++i) {
    EXPECT_EQ(file.Append("1\n", 2, NowNs()).error, 0);
    AppendTo(path, "of another\n");
    EXPECT_EQ(file.Append("2\n", 2, NowNs()).error, 0);
    const int64_t next_ns = NowNs();
    AppendTo(path, "piece");
    EXPECT_EQ(file.Append("3\n", 2, next_ns).error, 0);
  }
  EXPECT_EQ(ReadFile(path).find("piece3"), std::string::npos);
}

TEST(LogFile, EndsAPieceOfARecordWhoeverLeftIt) {
  const TempFolder temp;
  const std::string path = temp.path() + "/x.log";
  WriteFile(path, "piece of an earlier run");
  LogFile file(path.c_str(), kDefaultLimits);
  file.Open();
  EXPECT_EQ(Append(file, "1\n").error, 0);
  AppendTo(path, "piece of another process");
  EXPECT_EQ(Append(file, "2\n").error, 0);
  EXPECT_EQ(ReadLines(path), (Lines{"piece of an earlier ru", "1", "piece of another proces", "2"}));
}

TEST(LogFile, EndsAPieceInAFileThatAnotherOneBegan) {
  const TempFolder temp;
  const std::string path = temp.path() + "/x.log";
  LogFile file(path.c_str(), kDefaultLimits);
  EXPECT_EQ(Append(file, "1\n").error, 0);
  std::filesystem::rename(path, path + ".1");
  WriteFile(path, "piece");
  EXPECT_EQ(Append(file, "2\n").error, 0);
  EXPECT_EQ(ReadLines(path), (Lines{"piec", "2"}));
}

TEST(LogFile, EndsAPieceOnceWhenManySeeIt) {
  constexpr int kWriters = 6;
  for (int round = 0; round < 100; ++round) {
    const TempFolder temp;
    const std::string path = temp.path() + "/x.log";
    std::vector<std::unique_ptr<LogFile>> files;  // Each stands for a process.
    for (int i = 0; i < kWriters; ++i) files.push_back(std::make_unique<LogFile>(path.c_str(), kDefaultLimits));
    for (const auto& file : files) file->Open();
    WriteFile(path, "piece");
    std::atomic<int> missing{kWriters};
    std::vector<std::thread> threads;
    for (const auto& file : files) {
      threads.emplace_back([&file, &missing] {
        --missing;
        while (missing > 0) std::this_thread::yield();
        EXPECT_EQ(file->Append("x\n", 2, NowNs()).error, 0);
      });
    }
    for (std::thread& thread : threads) thread.join();
    Lines expected(kWriters + 1, "x");
    expected.front() = "piec";
    ASSERT_EQ(ReadLines(path), expected) << "round: " << round;
  }
}

TEST(LogFile, DoesNotTakeARecordThatIsJustBeingWrittenForAPiece) {
  const TempFolder temp;
  const std::string path = temp.path() + "/x.log";
  LogFile file(path.c_str(), {off_t{1} << 40, 4});
  file.Open();
  const std::string long_line = std::string(3000000, 'x') + "\n";
  std::atomic<bool> stop{false};
  constexpr int kLongLines = kSanitized ? 5 : 20;
  std::thread other([&] {
    const int opened = open(path.c_str(), O_WRONLY | O_APPEND);
    for (int i = 0; i < kLongLines; ++i) EXPECT_EQ(write(opened, long_line.data(), long_line.size()), ssize_t{3000001});
    (void)close(opened);
    stop = true;
  });
  while (!stop) EXPECT_EQ(Append(file, "short\n").error, 0);
  other.join();
  for (const std::string& line : ReadLines(path)) {
    ASSERT_TRUE(line == "short" || line.size() + 1 == long_line.size()) << line.size() << " bytes";
  }
}

// Puts another file behind the number that `file` shares among threads, as a program does that closes what it has not
// opened, and returns that number.
static int ReuseDescriptor(const std::string& log, const std::string& other) {
  struct stat of_log = {};
  struct stat found = {};
  EXPECT_EQ(stat(log.c_str(), &of_log), 0);
  for (const int number : OpenDescriptors()) {
    if (fstat(number, &found) != 0 || found.st_ino != of_log.st_ino || found.st_dev != of_log.st_dev) continue;
    const int opened = open(other.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    EXPECT_EQ(dup2(opened, number), number);
    (void)close(opened);
    return number;
  }
  ADD_FAILURE() << "the log is not open";
  return -1;
}

TEST(LogFile, LeavesADescriptorNumberToTheProgramThatHasReusedIt) {
  const TempFolder temp;
  const std::string path = temp.path() + "/x.log";
  const std::string other = temp.path() + "/other";
  LogFile file(path.c_str(), {4, 4});
  EXPECT_EQ(Append(file, "1 a\n").error, 0);
  const int number = ReuseDescriptor(path, other);
  ASSERT_GE(number, 0);
  for (const char* text : {"1 b\n", "1 c\n", "1 d\n"}) EXPECT_EQ(Append(file, text).error, 0);  // Each rotates.
  file.AfterFork();
  EXPECT_EQ(fcntl(number, F_GETFD), 0) << "the program's descriptor was changed";
  EXPECT_EQ(write(number, "program's\n", 10), 10);
  EXPECT_EQ(ReadFile(other), "program's\n");
  EXPECT_EQ(ReadFile(path), "1 d\n");
  EXPECT_EQ(ReadFile(path + ".1"), "1 c\n");
  EXPECT_EQ(ReadFile(path + ".3"), "1 a\n");
  (void)close(number);
}

TEST(LogFile, WritesNothingToAReusedDescriptorWhenThePathCannotBeOpened) {
  const TempFolder temp;
  const std::string path = temp.path() + "/x.log";
  const std::string other = temp.path() + "/other";
  LogFile file(path.c_str(), kDefaultLimits);
  EXPECT_EQ(Append(file, "1\n").error, 0);
  const int number = ReuseDescriptor(path, other);
  ASSERT_GE(number, 0);
  std::filesystem::remove(path);
  std::filesystem::create_directory(path);
  EXPECT_EQ(Append(file, "2\n").error, EISDIR);
  EXPECT_EQ(ReadFile(other), "");
  (void)close(number);
}
