// Faults of the system under the log, brought about for real: each in a forked child, so that limits, mounts and users
// end with it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <fstream>

#include "tests/liblogger/support.h"

using Messages = std::vector<std::string>;

// A child's result on a machine that can't provide what the test needs.
static constexpr int kNotHere = 77;

// Fills the disk that `file` is on, to the last byte that `file` itself can take.
static void FillDisk(const std::filesystem::path& file) {
  const int ballast = open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  const std::string bytes(4096, 'x');
  while (write(ballast, bytes.data(), bytes.size()) > 0) {
  }
  (void)close(ballast);
}

// Stops being the superuser, whom permissions don't concern. The folder is given away first. False, too, where it lies
// in one that others may not enter.
static bool BecomeOrdinaryUser(const std::filesystem::path& folder) {
  constexpr uid_t kNobody = 65534;
  if (geteuid() != 0) return true;
  return chown(folder.c_str(), kNobody, static_cast<gid_t>(-1)) == 0 && setuid(kNobody) == 0 &&
         access(folder.c_str(), W_OK) == 0;
}

template <typename Resource>  // An enumeration in one C library, a number in others.
static bool SetSoftLimit(Resource resource, rlim_t soft) {
  rlimit limit = {};
  if (getrlimit(resource, &limit) != 0) return false;
  limit.rlim_cur = soft < limit.rlim_max ? soft : limit.rlim_max;
  return setrlimit(resource, &limit) == 0;
}

// The number of records that the file's loss records tell of.
static unsigned long long LostRecords(const Messages& messages) {
  unsigned long long sum = 0;
  for (const std::string& message : messages) {
    unsigned long long count = 0;
    if (sscanf(message.c_str(), "[LOGGER    ] %llu record", &count) == 1) sum += count;
  }
  return sum;
}

// Whether all of `count` records "record N" are in the file in their order, or among those that it says are lost, and
// each line is a record or, at most once, a piece of one.
static bool AccountsForAll(const std::filesystem::path& file, int count) {
  Messages messages;
  int pieces = 0;
  for (const std::string& line : ReadLines(file)) {
    if (IsRecord(line)) {
      messages.push_back(MessageOf(line));
    } else {
      ++pieces;
    }
  }
  int found = 0;
  int last = -1;
  for (const std::string& message : messages) {
    int number = -1;
    char end = '\0';
    if (sscanf(message.c_str(), "record %d en%c", &number, &end) != 2 || end != 'd') continue;
    if (number <= last) return false;
    last = number;
    ++found;
  }
  const auto lost = static_cast<int>(LostRecords(messages));
  if (found + lost == count && lost > 0 && pieces <= 1) return true;
  fprintf(stderr, "%d found, %d lost, %d pieces of %d\n", found, lost, pieces, count);
  return false;
}

TEST(FullDisk, DropsRecordsCountsThemAndTellsOfThem) {
  const TempFolder temp;
  const int result = RunInChild([&temp] {
    if (!MountSmallDisk(temp.path(), "128k")) return kNotHere;
    ILog* const log = MakeLogger(temp.path(), "launcher", LOGLEVEL_ERROR);
    if (log == nullptr) return 1;
    int count = 0;
    for (int round = 0; round < 3; ++round) {
      for (int i = 0; i < 10; ++i) Log(log, LOGLEVEL_ERROR, "record %d end", count++);
      FillDisk(temp.path() + "/ballast");
      for (int i = 0; i < 100; ++i) Log(log, LOGLEVEL_ERROR, "record %d end", count++);
      // In each round one record may be written in part; here they are told apart by round.
      std::filesystem::remove(temp.path() + "/ballast");
      Log(log, LOGLEVEL_ERROR, "record %d end", count++);
      if (!AccountsForAll(temp.path() + "/launcher.log", count)) return 2;
      std::filesystem::remove(temp.path() + "/launcher.log");
      count = 0;
    }
    return 0;
  });
  if (result == kNotHere) GTEST_SKIP() << "no private file system can be mounted here";
  EXPECT_EQ(result, 0);
}

TEST(FullDisk, IsAnsweredByInitLogger) {
  const TempFolder temp;
  const int result = RunInChild([&temp] {
    if (!MountSmallDisk(temp.path(), "64k")) return kNotHere;
    FillDisk(temp.path() + "/ballast");
    if (InitLogger(temp.path().c_str()) != ENOSPC) return 1;
    std::filesystem::remove(temp.path() + "/ballast");
    return InitLogger(temp.path().c_str()) == 0 && std::filesystem::is_empty(temp.path()) ? 0 : 2;
  });
  if (result == kNotHere) GTEST_SKIP() << "no private file system can be mounted here";
  EXPECT_EQ(result, 0);
}

TEST(FullDisk, LetsAnotherProcessEndWhatWasTorn) {
  const TempFolder temp;
  const int result = RunInChild([&temp] {
    if (!MountSmallDisk(temp.path(), "128k")) return kNotHere;
    ILog* const log = MakeLogger(temp.path(), "launcher", LOGLEVEL_ERROR);
    if (log == nullptr) return 1;
    Log(log, LOGLEVEL_ERROR, "first");
    FillDisk(temp.path() + "/ballast");
    for (int i = 0; i < 100; ++i) Log(log, LOGLEVEL_ERROR, "before");
    std::filesystem::remove(temp.path() + "/ballast");
    const std::string full = ReadFile(temp.path() + "/launcher.log");
    if (full.empty() || full.back() == '\n') return 4;  // Nothing is torn.
    const int child = RunInChild([log] {
      Log(log, LOGLEVEL_ERROR, "of the child");
      return 0;
    });
    if (child != 0) return 2;
    const std::string last = ReadLines(temp.path() + "/launcher.log").back();
    return IsRecord(last) && MessageOf(last) == "of the child" ? 0 : 3;
  });
  if (result == kNotHere) GTEST_SKIP() << "no private file system can be mounted here";
  EXPECT_EQ(result, 0);
}

TEST(FullDisk, DoesNotLetAQuietProcessWriteBehindAPiece) {
  const TempFolder temp;
  const int result = RunInChild([&temp] {
    if (!MountSmallDisk(temp.path(), "128k")) return kNotHere;
    ILog* const log = MakeLogger(temp.path(), "launcher", LOGLEVEL_ERROR);
    int ends[2];
    if (log == nullptr || pipe(ends) != 0) return 1;
    Log(log, LOGLEVEL_ERROR, "first");
    const pid_t quiet = fork();
    if (quiet == 0) {
      (void)close(ends[1]);
      char go = 0;
      if (read(ends[0], &go, 1) != 1) _exit(1);
      Log(log, LOGLEVEL_ERROR, "of the quiet process");
      _exit(0);
    }
    FillDisk(temp.path() + "/ballast");
    for (int i = 0; i < 100; ++i) Log(log, LOGLEVEL_ERROR, "before");
    std::filesystem::remove(temp.path() + "/ballast");
    const std::string full = ReadFile(temp.path() + "/launcher.log");
    if (full.empty() || full.back() == '\n') return 2;  // Nothing is torn.
    if (write(ends[1], "", 1) != 1 || WaitForChild(quiet) != 0) return 3;
    const std::string last = ReadLines(temp.path() + "/launcher.log").back();
    return IsRecord(last) && MessageOf(last) == "of the quiet process" ? 0 : 4;
  });
  if (result == kNotHere) GTEST_SKIP() << "no private file system can be mounted here";
  EXPECT_EQ(result, 0);
}

TEST(FileSizeLimit, DropsRecordsAndDoesNotEndTheProcess) {
  const TempFolder temp;
  EXPECT_EQ(RunInChild([&temp] {
              ILog* const log = MakeLogger(temp.path(), "launcher", LOGLEVEL_ERROR);
              if (log == nullptr || !SetSoftLimit(RLIMIT_FSIZE, 10000)) return 1;
              int count = 0;
              for (; count < 500; ++count) Log(log, LOGLEVEL_ERROR, "record %d end", count);
              if (!SetSoftLimit(RLIMIT_FSIZE, RLIM_INFINITY)) return 2;
              Log(log, LOGLEVEL_ERROR, "record %d end", count++);
              return AccountsForAll(temp.path() + "/launcher.log", count) ? 0 : 3;
            }),
            0);
}

TEST(FileSizeLimit, IsAnsweredByInitLogger) {
  const TempFolder temp;
  EXPECT_EQ(RunInChild([&temp] {
              if (!SetSoftLimit(RLIMIT_FSIZE, 0)) return 1;
              return InitLogger(temp.path().c_str()) == EFBIG ? 0 : 2;
            }),
            0);
}

// Opens files until none can be opened any more. Another module's logger is used before, because a sanitizer needs a
// descriptor when it sees a type for the first time.
static bool UseUpDescriptors(const std::filesystem::path& location) {
  ILog* const first = MakeLogger(location, "first", LOGLEVEL_ERROR);
  if (first == nullptr || !SetSoftLimit(RLIMIT_NOFILE, 64)) return false;
  Log(first, LOGLEVEL_ERROR, "x");
  while (open("/dev/null", O_RDONLY | O_CLOEXEC) >= 0) {
  }
  return errno == EMFILE;
}

TEST(NoDescriptorsLeft, KeepsWritingToTheOpenFile) {
  const TempFolder temp;
  EXPECT_EQ(RunInChild([&temp] {
              ILog* const log = MakeLogger(temp.path(), "launcher", LOGLEVEL_ERROR);
              if (log == nullptr || !UseUpDescriptors(temp.path())) return 1;
              for (int i = 0; i < 30; ++i) Log(log, LOGLEVEL_ERROR, "%d", i);
              std::filesystem::rename(temp.path() + "/launcher.log", temp.path() + "/moved");
              for (int i = 0; i < 30; ++i) Log(log, LOGLEVEL_ERROR, "%d", i);
              return 0;
            }),
            0);
  EXPECT_EQ(ReadMessages(temp.path() + "/moved").size(), 60U);
}

TEST(NoDescriptorsLeft, DropsAndCountsRecordsWhenTheFileIsGone) {
  const TempFolder temp;
  EXPECT_EQ(RunInChild([&temp] {
              ILog* const log = MakeLogger(temp.path(), "launcher", LOGLEVEL_ERROR);
              if (log == nullptr || !UseUpDescriptors(temp.path())) return 1;
              std::filesystem::remove(temp.path() + "/launcher.log");
              for (int i = 0; i < 30; ++i) Log(log, LOGLEVEL_ERROR, "%d", i);
              if (!SetSoftLimit(RLIMIT_NOFILE, 128)) return 2;
              Log(log, LOGLEVEL_ERROR, "last");
              return 0;
            }),
            0);
  EXPECT_EQ(ReadMessages(temp.path() + "/launcher.log"),
            (Messages{"[LOGGER    ] 30 records lost, errno " + std::to_string(EMFILE), "last"}));
}

TEST(NoDescriptorsLeft, IsAnsweredByInitLogger) {
  const TempFolder temp;
  EXPECT_EQ(RunInChild([&temp] {
              if (!UseUpDescriptors(temp.path())) return 1;
              return InitLogger(temp.path().c_str()) == EMFILE ? 0 : 2;
            }),
            0);
}

TEST(NoDescriptorsLeft, LeavesALoggerThatBeginsItsFileLater) {
  const TempFolder temp;
  EXPECT_EQ(RunInChild([&temp] {
              if (!UseUpDescriptors(temp.path())) return 1;
              ILog* log = nullptr;
              if (GetLogger(2, "launcher", LOGLEVEL_ERROR, &log) != 0) return 2;
              Log(log, LOGLEVEL_ERROR, "dropped");
              if (!SetSoftLimit(RLIMIT_NOFILE, 128)) return 3;
              Log(log, LOGLEVEL_ERROR, "kept");
              return 0;
            }),
            0);
  EXPECT_EQ(ReadMessages(temp.path() + "/launcher.log"),
            (Messages{"[LOGGER    ] 1 record lost, errno " + std::to_string(EMFILE), "kept"}));
}

TEST(ReadOnlyFolder, IsAnsweredByInitLogger) {
  const TempFolder temp;
  const int result = RunInChild([&temp] {
    if (!BecomeOrdinaryUser(temp.path())) return kNotHere;
    if (chmod(temp.path().c_str(), 0500) != 0) return 1;
    if (InitLogger(temp.path().c_str()) != EACCES) return 2;
    return InitLogger((temp.path() + "/new").c_str()) == EACCES ? 0 : 3;
  });
  if (result == kNotHere) GTEST_SKIP() << "the superuser can't become an ordinary one here";
  EXPECT_EQ(result, 0);
}

TEST(ReadOnlyFolder, DropsAndCountsRecordsUntilItIsWritable) {
  const TempFolder temp;
  const int result = RunInChild([&temp] {
    if (!BecomeOrdinaryUser(temp.path())) return kNotHere;
    ILog* const log = MakeLogger(temp.path(), "launcher", LOGLEVEL_ERROR);
    if (log == nullptr) return 1;
    std::filesystem::remove(temp.path() + "/launcher.log");
    if (chmod(temp.path().c_str(), 0500) != 0) return 2;
    for (int i = 0; i < 5; ++i) Log(log, LOGLEVEL_ERROR, "dropped");
    if (chmod(temp.path().c_str(), 0700) != 0) return 3;
    Log(log, LOGLEVEL_ERROR, "kept");
    return 0;
  });
  if (result == kNotHere) GTEST_SKIP() << "the superuser can't become an ordinary one here";
  EXPECT_EQ(result, 0);
  EXPECT_EQ(ReadMessages(temp.path() + "/launcher.log"),
            (Messages{"[LOGGER    ] 5 records lost, errno " + std::to_string(EACCES), "kept"}));
}

TEST(ReadOnlyFolder, LetsTheFileGrowBeyondItsSize) {
  const TempFolder temp;
  const int result = RunInChild([&temp] {
    if (!BecomeOrdinaryUser(temp.path())) return kNotHere;
    ILog* const log = MakeLogger(temp.path(), "launcher", LOGLEVEL_ERROR);
    if (log == nullptr || truncate((temp.path() + "/launcher.log").c_str(), 4 << 20) != 0) return 1;
    if (chmod(temp.path().c_str(), 0500) != 0) return 2;
    for (int i = 0; i < 20; ++i) Log(log, LOGLEVEL_ERROR, "kept");
    if (std::filesystem::file_size(temp.path() + "/launcher.log") < (4U << 20) + 20 * 65) return 3;
    if (chmod(temp.path().c_str(), 0700) != 0) return 4;
    Log(log, LOGLEVEL_ERROR, "in a new file");
    return 0;
  });
  if (result == kNotHere) GTEST_SKIP() << "the superuser can't become an ordinary one here";
  EXPECT_EQ(result, 0);
  EXPECT_EQ(ReadMessages(temp.path() + "/launcher.log"), Messages{"in a new file"});
}

TEST(FileInTheFoldersPlace, DropsAndCountsRecordsUntilItIsGone) {
  const TempFolder temp;
  const std::filesystem::path folder = temp.path() + "/logs";
  ILog* const log = MakeLogger(folder, "launcher", LOGLEVEL_ERROR);
  ASSERT_NE(log, nullptr);
  std::filesystem::remove_all(folder);
  std::ofstream(folder) << "x";
  for (int i = 0; i < 3; ++i) Log(log, LOGLEVEL_ERROR, "dropped");
  EXPECT_EQ(RunInChild([log] {
              Log(log, LOGLEVEL_ERROR, "dropped by a child, who can't tell of it any more");
              return 0;
            }),
            0);
  std::filesystem::remove(folder);
  Log(log, LOGLEVEL_ERROR, "kept");
  Log(log, LOGLEVEL_ERROR, "and no report again");
  EXPECT_EQ(ReadMessages(folder / "launcher.log"),
            (Messages{"[LOGGER    ] 3 records lost, errno " + std::to_string(ENOTDIR), "kept", "and no report again"}));
}

TEST(FileInTheFoldersPlace, LeavesTheParentsLossesToTheParent) {
  const TempFolder temp;
  const std::filesystem::path folder = temp.path() + "/logs";
  ILog* const log = MakeLogger(folder, "launcher", LOGLEVEL_ERROR);
  ASSERT_NE(log, nullptr);
  std::filesystem::remove_all(folder);
  std::ofstream(folder) << "x";
  Log(log, LOGLEVEL_ERROR, "dropped");
  std::filesystem::remove(folder);
  EXPECT_EQ(RunInChild([log] {
              Log(log, LOGLEVEL_ERROR, "of the child");
              return 0;
            }),
            0);
  Log(log, LOGLEVEL_ERROR, "of the parent");
  EXPECT_EQ(
      ReadMessages(folder / "launcher.log"),
      (Messages{"of the child", "[LOGGER    ] 1 record lost, errno " + std::to_string(ENOTDIR), "of the parent"}));
}
