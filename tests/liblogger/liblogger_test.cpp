#include "liblogger/liblogger.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <thread>

#include "tests/liblogger/support.h"

using Messages = std::vector<std::string>;

static mode_t ModeOf(const std::filesystem::path& file) {
  struct stat status = {};
  return lstat(file.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
}

TEST(InitLogger, MakesTheFolderWithItsParentsForTheOwnerAlone) {
  const TempFolder temp;
  const mode_t old_mask = umask(0);
  ILog* const log = MakeLogger(temp.path() + "/a//b/c", "launcher", LOGLEVEL_ERROR);
  (void)umask(old_mask);
  ASSERT_NE(log, nullptr);
  Log(log, LOGLEVEL_ERROR, "x");
  for (const char* folder : {"a", "a/b", "a/b/c"}) EXPECT_EQ(ModeOf(temp.path() + "/" + folder), 0700U) << folder;
  EXPECT_EQ(ModeOf(temp.path() + "/a/b/c/launcher.log"), 0600U);
}

TEST(InitLogger, LeavesWhatExistsAsItIs) {
  const TempFolder temp;
  ASSERT_EQ(chmod(temp.path().c_str(), 0755), 0);
  EXPECT_EQ(InitLogger(temp.path().c_str()), 0);
  EXPECT_EQ(ModeOf(temp.path()), 0755U);
  EXPECT_TRUE(std::filesystem::is_empty(temp.path()));
}

TEST(InitLogger, AnswersWithTheReasonWhyALocationCannotBeUsed) {
  const TempFolder temp;
  const std::string folder = temp.path();
  std::ofstream(folder + "/file") << "x";
  std::filesystem::create_symlink("nowhere", folder + "/dangling");
  std::string deep = folder;
  while (deep.size() < PATH_MAX - 70) deep += "/0123456789";
  const struct {
    const char* what;
    std::string location;
    int expected;
  } rows[] = {
      {"empty", "", EINVAL},
      {"relative", "logs", EINVAL},
      {"a dot", ".", EINVAL},
      {"a file", folder + "/file", ENOTDIR},
      {"below a file", folder + "/file/logs", ENOTDIR},
      {"a link to nothing", folder + "/dangling", ENOENT},
      {"a long name", folder + "/" + std::string(300, 'x'), ENAMETOOLONG},
      {"a long path", "/" + std::string(PATH_MAX, 'x'), ENAMETOOLONG},
      {"no room for the file's name", deep, ENAMETOOLONG},
  };
  for (const auto& row : rows) EXPECT_EQ(InitLogger(row.location.c_str()), row.expected) << row.what;
  EXPECT_EQ(InitLogger(nullptr), EINVAL);
}

TEST(InitLogger, TellsWhatTakesThePlaceOfALog) {
  const TempFolder temp;
  const std::string log = temp.path() + "/launcher.log";
  const struct {
    const char* what;
    std::function<bool()> make;
    int expected;
  } rows[] = {
      {"a file", [&] { return bool(std::ofstream(log) << "x"); }, 0},
      {"a link to a file", [&] { return symlink("elsewhere", log.c_str()) == 0; }, ELOOP},
      {"a link to nothing", [&] { return symlink("nowhere", log.c_str()) == 0; }, ELOOP},
      {"a folder", [&] { return mkdir(log.c_str(), 0700) == 0; }, EISDIR},
      {"a FIFO", [&] { return mkfifo(log.c_str(), 0600) == 0; }, EINVAL},
      {"a link to a device", [&] { return symlink("/dev/null", log.c_str()) == 0; }, ELOOP},
  };
  std::ofstream(temp.path() + "/elsewhere") << "x";
  for (const auto& row : rows) {
    ASSERT_TRUE(row.make()) << row.what;
    EXPECT_EQ(InitLogger(temp.path().c_str()), row.expected) << row.what;
    std::filesystem::remove(log);
  }
  EXPECT_EQ(InitLogger(temp.path().c_str()), 0);
}

TEST(InitLogger, IsNotConcernedWithOtherNames) {
  const TempFolder temp;
  for (const char* name : {"launcher.log.1", "launcher.logs", ".log", ".hidden.log", "log"}) {
    ASSERT_EQ(symlink("nowhere", (temp.path() + "/" + name).c_str()), 0);
  }
  EXPECT_EQ(InitLogger(temp.path().c_str()), 0);
}

TEST(InitLogger, KeepsTheLocationWhenAnotherOneFails) {
  const TempFolder temp;
  ASSERT_EQ(InitLogger(temp.path().c_str()), 0);
  ASSERT_NE(InitLogger("relative"), 0);
  ILog* log = nullptr;
  ASSERT_EQ(GetLogger(2, "launcher", LOGLEVEL_ERROR, &log), 0);
  Log(log, LOGLEVEL_ERROR, "kept");
  EXPECT_EQ(ReadMessages(temp.path() + "/launcher.log"), Messages{"kept"});
}

TEST(InitLogger, SendsLaterLoggersToAnotherLocationAndLeavesEarlierOnes) {
  const TempFolder first;
  const TempFolder second;
  ILog* const in_first = MakeLogger(first.path(), "launcher", LOGLEVEL_ERROR);
  ILog* const in_second = MakeLogger(second.path(), "launcher", LOGLEVEL_ERROR);
  ASSERT_TRUE(in_first != nullptr && in_second != nullptr);
  Log(in_first, LOGLEVEL_ERROR, "one");
  Log(in_second, LOGLEVEL_ERROR, "two");
  EXPECT_EQ(ReadMessages(first.path() + "/launcher.log"), Messages{"one"});
  EXPECT_EQ(ReadMessages(second.path() + "/launcher.log"), Messages{"two"});
}

TEST(InitLogger, LeavesAnotherHandlerOfTheFileSizeSignalAlone) {
  const TempFolder temp;
  EXPECT_EQ(RunInChild([&temp] {
              if (signal(SIGXFSZ, SIG_IGN) == SIG_ERR || InitLogger(temp.path().c_str()) != 0) return 1;
              return signal(SIGXFSZ, SIG_DFL) == SIG_IGN ? 0 : 2;
            }),
            0);
}

TEST(GetLogger, RefusesNullAndWhatIsNoModuleName) {
  const TempFolder temp;
  ASSERT_EQ(InitLogger(temp.path().c_str()), 0);
  ILog* log = nullptr;
  const std::string longest(64, 'm');
  for (const char* name : {"", ".", "..", ".hidden", "a/b", "a b", "a\nb", "\xC3\xA9", "a%s"}) {
    EXPECT_EQ(GetLogger(2, name, LOGLEVEL_ERROR, &log), EINVAL) << "module: " << name;
  }
  EXPECT_EQ(GetLogger(2, (longest + "m").c_str(), LOGLEVEL_ERROR, &log), EINVAL);
  EXPECT_EQ(GetLogger(2, nullptr, LOGLEVEL_ERROR, &log), EINVAL);
  EXPECT_EQ(GetLogger(2, "launcher", LOGLEVEL_ERROR, nullptr), EINVAL);
  EXPECT_EQ(log, nullptr);
  EXPECT_EQ(GetLogger(2, longest.c_str(), LOGLEVEL_ERROR, &log), 0);
  EXPECT_EQ(GetLogger(-1, "A-Z_0.9", LOGLEVEL_ERROR, &log), 0);
}

// Asked before any test has called `InitLogger`.
static ILog* g_early_log = nullptr;
static const int g_early_answer = GetLogger(2, "launcher", LOGLEVEL_ERROR, &g_early_log);

TEST(GetLogger, AnswersThatThereIsNoLocationYet) {
  EXPECT_EQ(g_early_answer, ENOENT);
  EXPECT_EQ(g_early_log, nullptr);
}

TEST(GetLogger, GivesEachModuleAFileOfItsOwn) {
  const TempFolder temp;
  ILog* const one = MakeLogger(temp.path(), "one", LOGLEVEL_ERROR);
  ILog* const two = MakeLogger(temp.path(), "two", LOGLEVEL_DEBUG);
  ASSERT_TRUE(one != nullptr && two != nullptr);
  Log(one, LOGLEVEL_ERROR, "1");
  Log(two, LOGLEVEL_DEBUG, "2");
  EXPECT_EQ(ReadMessages(temp.path() + "/one.log"), Messages{"1"});
  EXPECT_EQ(ReadMessages(temp.path() + "/two.log"), Messages{"2"});
}

TEST(GetLogger, GivesTheSameLoggerAgainWithTheNewLevel) {
  const TempFolder temp;
  ILog* const log = MakeLogger(temp.path(), "launcher", LOGLEVEL_ERROR);
  ASSERT_NE(log, nullptr);
  Log(log, LOGLEVEL_DEBUG, "too low");
  ILog* again = nullptr;
  ASSERT_EQ(GetLogger(2, "launcher", LOGLEVEL_DEBUG, &again), 0);
  EXPECT_EQ(again, log);
  Log(log, LOGLEVEL_DEBUG, "high enough");
  EXPECT_EQ(ReadMessages(temp.path() + "/launcher.log"), Messages{"high enough"});
}

TEST(GetLogger, MakesOneLoggerForThreadsThatAskAtOnce) {
  const TempFolder temp;
  ASSERT_EQ(InitLogger(temp.path().c_str()), 0);
  std::vector<ILog*> logs(16, nullptr);
  std::vector<std::thread> threads;
  for (ILog*& log : logs) {
    threads.emplace_back([&log] { (void)GetLogger(2, "launcher", LOGLEVEL_ERROR, &log); });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_NE(logs.front(), nullptr);
  EXPECT_EQ(std::count(logs.begin(), logs.end(), logs.front()), 16);
}

TEST(LogV, WritesARecordWithTheCallersNumbers) {
  const TempFolder temp;
  ILog* const log = MakeLogger(temp.path(), "launcher", LOGLEVEL_ERROR);
  ASSERT_NE(log, nullptr);
  Log(log, LOGLEVEL_ERROR, "[LAUNCHER  ] %s %d", "sync", 3);
  const std::vector<std::string> lines = ReadLines(temp.path() + "/launcher.log");
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_TRUE(IsRecord(lines[0])) << lines[0];
  const std::string pid = std::to_string(getpid());
  const std::string column = std::string(9 - std::min<size_t>(pid.size(), 8), ' ') + pid;
  EXPECT_EQ(lines[0].substr(30, 17 + column.size()), "ERROR    launcher" + column);
  if (!kFirstThreadHasProcessNumber) GTEST_SKIP() << "the thread's number is not known beforehand here";
  EXPECT_EQ(lines[0].substr(30), "ERROR    launcher" + column + column + " [LAUNCHER  ] sync 3");
}

TEST(LogV, WritesWhatIsAtOrAboveTheLoggersLevel) {
  const int levels[] = {1, 2, 4, 8, 16, 17};
  const struct {
    int threshold;
    const char* shown;  // Of these levels, and of the wrong numbers 0, 3 and 99.
  } rows[] = {
      {1, "1 2 4 8 16 17 3 99 "}, {2, "2 4 8 16 17 3 99 "}, {4, "4 8 16 17 99 "},
      {8, "8 16 17 99 "},         {16, "16 17 99 "},        {17, "1 2 4 8 16 17 0 3 99 "},
  };
  for (const auto& row : rows) {
    const TempFolder temp;
    ILog* const log = MakeLogger(temp.path(), "launcher", static_cast<LOGLEVEL>(row.threshold));
    ASSERT_NE(log, nullptr);
    for (const int level : levels) Log(log, static_cast<LOGLEVEL>(level), "%d", level);
    for (const int level : {0, 3, 99}) Log(log, static_cast<LOGLEVEL>(level), "%d", level);
    std::string shown;
    for (const std::string& message : ReadMessages(temp.path() + "/launcher.log")) shown += message + " ";
    EXPECT_EQ(shown, row.shown) << "threshold: " << row.threshold;
  }
}

TEST(LogV, KeepsErrnoAndShowsIt) {
  const TempFolder temp;
  ILog* const log = MakeLogger(temp.path() + "/logs", "launcher", LOGLEVEL_ERROR);
  ASSERT_NE(log, nullptr);
  errno = ERANGE;
  Log(log, LOGLEVEL_ERROR, "written");
  EXPECT_EQ(errno, ERANGE);
  std::filesystem::remove_all(temp.path() + "/logs");
  std::ofstream(temp.path() + "/logs") << "x";
  errno = ERANGE;
  Log(log, LOGLEVEL_ERROR, "dropped");
  EXPECT_EQ(errno, ERANGE);
}

TEST(LogV, AppendsToAnEarlierRunsFileAndEndsATornLine) {
  const TempFolder temp;
  std::ofstream(temp.path() + "/launcher.log") << "whole\ntorn";
  ILog* const log = MakeLogger(temp.path(), "launcher", LOGLEVEL_ERROR);
  ASSERT_NE(log, nullptr);
  Log(log, LOGLEVEL_ERROR, "new");
  const std::vector<std::string> lines = ReadLines(temp.path() + "/launcher.log");
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[1], "tor");
  EXPECT_EQ(MessageOf(lines[2]), "new");
}

TEST(LogV, BeginsTheFileAnewAtTheNextRecordWhenItIsGone) {
  const TempFolder temp;
  const std::filesystem::path file = temp.path() + "/logs/launcher.log";
  ILog* const log = MakeLogger(temp.path() + "/logs", "launcher", LOGLEVEL_ERROR);
  ASSERT_NE(log, nullptr);
  Log(log, LOGLEVEL_ERROR, "removed");
  std::filesystem::remove(file);
  Log(log, LOGLEVEL_ERROR, "moved away");
  std::filesystem::rename(file, temp.path() + "/elsewhere");
  Log(log, LOGLEVEL_ERROR, "folder moved");
  std::filesystem::rename(temp.path() + "/logs", temp.path() + "/old");
  Log(log, LOGLEVEL_ERROR, "folder removed");
  EXPECT_EQ(ReadMessages(file), Messages{"folder removed"});
  std::filesystem::remove_all(temp.path() + "/logs");
  Log(log, LOGLEVEL_ERROR, "last");
  EXPECT_EQ(ReadMessages(file), Messages{"last"});
  EXPECT_EQ(ReadMessages(temp.path() + "/elsewhere"), Messages{"moved away"});
  EXPECT_EQ(ReadMessages(temp.path() + "/old/launcher.log"), Messages{"folder moved"});
  EXPECT_EQ(ModeOf(temp.path() + "/logs"), 0700U);
  EXPECT_EQ(ModeOf(file), 0600U);
}

TEST(LogV, RenamesAFullFileAndBeginsANewOne) {
  const TempFolder temp;
  const std::filesystem::path file = temp.path() + "/launcher.log";
  ILog* const log = MakeLogger(temp.path(), "launcher", LOGLEVEL_ERROR);
  ASSERT_NE(log, nullptr);
  const std::string text(4000, 'x');
  for (int i = 0; i < 7 * 1100; ++i) Log(log, LOGLEVEL_ERROR, "%d %s", i, text.c_str());
  const uintmax_t full = 4U * 1024 * 1024;
  for (const char* kept : {".1", ".2", ".3", ".4"}) {
    const uintmax_t size = std::filesystem::file_size(file.string() + kept);
    EXPECT_GE(size, full) << kept;
    EXPECT_LE(size, full + 20000) << kept;  // A look holds for a few records.
  }
  EXPECT_LT(std::filesystem::file_size(file), full);
  EXPECT_FALSE(std::filesystem::exists(file.string() + ".5"));
}

TEST(LogV, DoesNotFollowALinkOrWaitForAReader) {
  const TempFolder temp;
  const std::filesystem::path file = temp.path() + "/launcher.log";
  ASSERT_EQ(InitLogger(temp.path().c_str()), 0);
  std::ofstream(temp.path() + "/target") << "untouched";
  std::filesystem::create_symlink("target", file);
  ILog* log = nullptr;
  ASSERT_EQ(GetLogger(2, "launcher", LOGLEVEL_ERROR, &log), 0);
  Log(log, LOGLEVEL_ERROR, "to a link");
  EXPECT_EQ(ReadFile(temp.path() + "/target"), "untouched");

  std::filesystem::remove(file);
  ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
  Log(log, LOGLEVEL_ERROR, "to a FIFO");
  std::filesystem::remove(file);
  std::filesystem::create_directory(file);
  Log(log, LOGLEVEL_ERROR, "to a folder");
  std::filesystem::remove(file);
  Log(log, LOGLEVEL_ERROR, "to a file");
  EXPECT_EQ(ReadMessages(file),
            (Messages{"[LOGGER    ] 3 records lost, errno " + std::to_string(EISDIR), "to a file"}));
}

TEST(LogV, UsesDescriptorsAboveTwoThatDoNotSurviveExec) {
  const TempFolder temp;
  EXPECT_EQ(RunInChild([&temp] {
              for (const int number : OpenDescriptors()) (void)close(number);
              ILog* const log = MakeLogger(temp.path(), "launcher", LOGLEVEL_ERROR);
              if (log == nullptr) return 1;
              for (int i = 0; i < 3; ++i) {
                Log(log, LOGLEVEL_ERROR, "x");
                std::filesystem::remove(temp.path() + "/launcher.log");
              }
              const std::vector<int> open = OpenDescriptors();
              if (open.size() != 1 || open[0] < 3) return 2;
              return (fcntl(open[0], F_GETFD) & FD_CLOEXEC) != 0 ? 0 : 3;
            }),
            0);
}

TEST(LogV, LeaksNoDescriptor) {
  const TempFolder temp;
  const std::filesystem::path folder = temp.path() + "/logs";
  ILog* const log = MakeLogger(folder, "launcher", LOGLEVEL_ERROR);
  ASSERT_NE(log, nullptr);
  Log(log, LOGLEVEL_ERROR, "x");
  const size_t before = OpenDescriptors().size();
  for (int i = 0; i < 50; ++i) {
    std::filesystem::remove(folder / "launcher.log");
    Log(log, LOGLEVEL_ERROR, "begun anew");
    std::filesystem::remove_all(folder);
    std::ofstream(folder) << "x";
    Log(log, LOGLEVEL_ERROR, "dropped");
    EXPECT_NE(InitLogger(folder.c_str()), 0);
    std::filesystem::remove(folder);
    EXPECT_EQ(InitLogger(folder.c_str()), 0);
    Log(log, LOGLEVEL_ERROR, "back");
  }
  EXPECT_EQ(OpenDescriptors().size(), before);
}

TEST(LogV, SurvivesAProgramThatClosesEverything) {
  const TempFolder temp;
  EXPECT_EQ(RunInChild([&temp] {
              ILog* const log = MakeLogger(temp.path(), "launcher", LOGLEVEL_ERROR);
              if (log == nullptr) return 1;
              Log(log, LOGLEVEL_ERROR, "before");
              for (const int number : OpenDescriptors()) (void)close(number);
              Log(log, LOGLEVEL_ERROR, "after");
              Log(log, LOGLEVEL_ERROR, "again");
              return OpenDescriptors().size() == 1 ? 0 : 2;
            }),
            0);
  EXPECT_EQ(ReadMessages(temp.path() + "/launcher.log"), (Messages{"before", "after", "again"}));
}

TEST(LogV, TellsAForkedChildFromItsParent) {
  const TempFolder temp;
  ILog* const log = MakeLogger(temp.path(), "launcher", LOGLEVEL_ERROR);
  ASSERT_NE(log, nullptr);
  Log(log, LOGLEVEL_ERROR, "pid %d", getpid());
  EXPECT_EQ(RunInChild([log] {
              Log(log, LOGLEVEL_ERROR, "pid %d", getpid());
              return 0;
            }),
            0);
  for (const std::string& line : ReadLines(temp.path() + "/launcher.log")) {
    int process = 0;
    int thread = 0;
    int expected = 0;
    ASSERT_EQ(sscanf(line.c_str(), "%*s %*s %*s %d %d pid %d", &process, &thread, &expected), 3) << line;
    EXPECT_EQ(process, expected);
    if (kFirstThreadHasProcessNumber) {
      EXPECT_EQ(thread, expected);
    }
  }
}

TEST(LogV, WorksWhileTheProcessExits) {
  const TempFolder temp;
  static ILog* log = nullptr;
  EXPECT_EQ(RunInChild([&temp]() -> int {
              (void)atexit([] { Log(log, LOGLEVEL_ERROR, "exiting"); });
              log = MakeLogger(temp.path(), "launcher", LOGLEVEL_ERROR);
              exit(log == nullptr);
            }),
            0);
  EXPECT_EQ(ReadMessages(temp.path() + "/launcher.log"), Messages{"exiting"});
}
