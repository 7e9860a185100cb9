// Many threads, forked children and processes on one log, with small files so that they rotate often. The records that
// are found in all files together must be those that were written: all of them, whole, each writer's in its order.
#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <map>
#include <memory>
#include <thread>

#include "liblogger/logger.h"
#include "tests/liblogger/support.h"
#include "tests/support/sanitized.h"
#include "tests/support/wait_until.h"

static constexpr int kMany = 1 << 20;  // Older files are kept, all of them.

static ILog* MakeSmallLogger(const std::filesystem::path& file, RotationLimits limits) {
  static const UtcOffsets* const offsets = [] {
    EXPECT_EQ(Logger::PrepareForForks(), 0);
    static UtcOffsets learned;
    learned.Learn(time(nullptr));
    return &learned;
  }();
  return new Logger(file.c_str(), "stress", LOGLEVEL_DEBUG, *offsets, limits);
}

// A message whose length and text follow from its numbers, so that a missing piece shows.
static std::string Text(int writer, int number) {
  const auto length = static_cast<size_t>((number * 7 + writer * 31) % 97);
  return std::to_string(writer) + ":" + std::to_string(number) + ":" +
         std::string(length, static_cast<char>('a' + number % 26)) + ".";
}

static void WriteRecords(ILog* log, int writer, int count, int first = 0) {
  for (int number = first; number < first + count; ++number) {
    Log(log, LOGLEVEL_MESSAGE, "%s", Text(writer, number).c_str());
  }
}

// The log's files from the oldest to the present one.
static std::vector<std::string> FilesOf(const std::string& file) {
  std::vector<std::string> files = {file};
  for (int number = 1; std::filesystem::exists(file + "." + std::to_string(number)); ++number) {
    files.insert(files.begin(), file + "." + std::to_string(number));
  }
  return files;
}

// The number of records of each writer, all whole and in order; what is wrong is added as a failure.
static std::map<int, int> CountRecords(const std::string& file) {
  std::map<int, int> counts;
  int failures = 0;
  for (const std::string& name : FilesOf(file)) {
    for (const std::string& line : ReadLines(name)) {
      const std::string message = MessageOf(line);
      int writer = -1;
      int number = -1;
      if (sscanf(message.c_str(), "%d:%d:", &writer, &number) == 2 && message == Text(writer, number) &&
          number == counts[writer]) {
        ++counts[writer];
      } else if (++failures <= 5) {
        ADD_FAILURE() << name << ": not whole or not in order: " << line << ", wanted number " << counts[writer];
      }
    }
  }
  return counts;
}

// Takes and releases the locks that the C library has for time zones, streams and the heap, until `stop`.
static void HoldLocksNowAndThen(const std::atomic<bool>& stop, const std::string& scratch) {
  while (!stop) {
    const time_t now = time(nullptr);
    tm local = {};
    (void)localtime_r(&now, &local);
    const std::unique_ptr<FILE, int (*)(FILE*)> stream(fopen(scratch.c_str(), "w"), &fclose);
    fprintf(stream.get(), "%d %s", local.tm_hour, std::string(100, 'x').c_str());
  }
}

TEST(Stress, KeepsEveryRecordOfThreadsAndForkedChildren) {
  constexpr int kThreads = 64;
  constexpr int kRecords = kSanitized ? 400 : 2500;
  constexpr int kForkers = 4;
  constexpr int kChildren = 100 / kStressDivisor;
  constexpr int kRecordsOfAChild = 5;
  const TempFolder temp;
  const std::string file = temp.path() + "/stress.log";
  ILog* const log = MakeSmallLogger(file, {1 << 20, kMany});

  std::atomic<bool> stop{false};
  std::atomic<int> failed_children{0};
  std::thread locker([&] { HoldLocksNowAndThen(stop, temp.path() + "/scratch"); });
  std::vector<std::thread> threads;
  for (int writer = 0; writer < kThreads; ++writer) {
    threads.emplace_back([log, writer] { WriteRecords(log, writer, kRecords); });
  }
  for (int forker = 0; forker < kForkers; ++forker) {
    threads.emplace_back([log, forker, &failed_children] {
      for (int child = 0; child < kChildren; ++child) {
        const int writer = 1000 + forker * kChildren + child;
        // Made before the fork: a sanitizer's own heap is not fit for a child of several threads.
        std::vector<std::string> texts;
        for (int number = 0; number < kRecordsOfAChild; ++number) texts.push_back(Text(writer, number));
        const auto body = [log, &texts] {
          for (const std::string& text : texts) Log(log, LOGLEVEL_MESSAGE, "%s", text.c_str());
          return 0;
        };
        if (RunInChild(body) != 0) ++failed_children;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  stop = true;
  locker.join();

  EXPECT_EQ(failed_children, 0);
  const std::map<int, int> counts = CountRecords(file);
  EXPECT_EQ(counts.size(), static_cast<size_t>(kThreads + kForkers * kChildren));
  for (const auto& [writer, count] : counts) {
    EXPECT_EQ(count, writer < kThreads ? kRecords : kRecordsOfAChild) << "writer: " << writer;
  }
  EXPECT_GT(FilesOf(file).size(), 1U);
}

TEST(Stress, KeepsEveryRecordOfProcessesThatRotate) {
  constexpr int kProcesses = 4;
  constexpr int kThreads = 4;
  constexpr int kRecords = 5000 / kStressDivisor;
  constexpr off_t kFullBytes = 64 * 1024;
  const TempFolder temp;
  const std::string file = temp.path() + "/stress.log";
  ILog* const inherited = MakeSmallLogger(file, {kFullBytes, kMany});
  std::vector<pid_t> children;
  for (int process = 0; process < kProcesses; ++process) {
    const pid_t child = fork();
    if (child == 0) {
      // Half of the processes share the parent's open file, the others have their own.
      ILog* const log = process % 2 == 0 ? inherited : MakeSmallLogger(file, {kFullBytes, kMany});
      std::vector<std::thread> threads;
      for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([log, writer = process * kThreads + thread] { WriteRecords(log, writer, kRecords); });
      }
      for (std::thread& thread : threads) thread.join();
      _exit(0);
    }
    children.push_back(child);
  }
  for (const pid_t child : children) EXPECT_EQ(WaitForChild(child), 0);

  const std::map<int, int> counts = CountRecords(file);
  EXPECT_EQ(counts.size(), static_cast<size_t>(kProcesses * kThreads));
  for (const auto& [writer, count] : counts) EXPECT_EQ(count, kRecords) << "writer: " << writer;
  const std::vector<std::string> files = FilesOf(file);
  // Who renames may be held up while the others fill the file on and on.
  EXPECT_GT(files.size(), 1U);
  // A file that was rotated before it was full would have been rotated by two at once.
  for (size_t i = 0; i + 1 < files.size(); ++i) {
    EXPECT_GE(std::filesystem::file_size(files[i]), static_cast<uintmax_t>(kFullBytes)) << files[i];
  }
}

TEST(Stress, KeepsEveryRecordWhileTheFileIsMovedAway) {
  constexpr int kThreads = 8;
  constexpr int kParts = 4;
  constexpr int kRecords = 5000 / kStressDivisor;
  const TempFolder temp;
  const std::string file = temp.path() + "/stress.log";
  ILog* const log = MakeSmallLogger(file, {1 << 30, 4});
  std::atomic<bool> stop{false};
  std::atomic<int> moved{0};
  std::thread mover([&] {
    for (; !stop; ++moved) {
      while (rename(file.c_str(), (file + ".moved" + std::to_string(moved)).c_str()) != 0 && !stop) {
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  });
  std::vector<std::thread> threads;
  for (int writer = 0; writer < kThreads; ++writer) {
    threads.emplace_back([log, writer, &moved] {
      for (int part = 0; part < kParts; ++part) {
        // Not before the records of the part before have been moved.
        EXPECT_TRUE(WaitUntil([&] { return moved >= part; }));
        WriteRecords(log, writer, kRecords / kParts, part * (kRecords / kParts));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  stop = true;
  mover.join();

  std::ofstream all(temp.path() + "/all.log", std::ios::binary);
  for (int number = 0; number < moved; ++number) all << ReadFile(file + ".moved" + std::to_string(number));
  all << ReadFile(file);
  all.close();
  const std::map<int, int> counts = CountRecords(temp.path() + "/all.log");
  EXPECT_EQ(counts.size(), static_cast<size_t>(kThreads));
  for (const auto& [writer, count] : counts) EXPECT_EQ(count, kRecords) << "writer: " << writer;
  EXPECT_GE(moved, kParts - 1);
}

static ILog* g_signal_log = nullptr;
static volatile sig_atomic_t g_signal_records = 0;

TEST(Stress, KeepsEveryRecordOfAHandlerThatInterruptsARecord) {
  constexpr int kWriter = 1;
  constexpr int kRecords = 20000 / kStressDivisor;
  const TempFolder temp;
  const std::string file = temp.path() + "/stress.log";
  ILog* const log = MakeSmallLogger(file, {64 * 1024, kMany});
  g_signal_log = log;
  struct sigaction handler = {};
  handler.sa_handler = [](int) { Log(g_signal_log, LOGLEVEL_MESSAGE, "0:%d:", g_signal_records++); };
  handler.sa_flags = SA_RESTART;
  struct sigaction before = {};
  ASSERT_EQ(sigaction(SIGALRM, &handler, &before), 0);
  const itimerval soon = {{0, 0}, {0, 500}};
  const itimerval never = {};
  int written = 0;
  for (int seen = -1; written < kRecords || seen < 1; ++written) {
    if (seen != g_signal_records) {  // Not again before that, or a slow machine would do nothing but handle signals.
      seen = g_signal_records;
      ASSERT_EQ(setitimer(ITIMER_REAL, &soon, nullptr), 0);
    }
    WriteRecords(log, kWriter, 1, written);
  }
  ASSERT_EQ(setitimer(ITIMER_REAL, &never, nullptr), 0);
  ASSERT_EQ(sigaction(SIGALRM, &before, nullptr), 0);

  int records = 0;
  int handler_records = 0;
  for (const std::string& name : FilesOf(file)) {
    for (const std::string& message : ReadMessages(name)) {
      if (message == Text(kWriter, records)) {
        ++records;
      } else {
        EXPECT_EQ(message, "0:" + std::to_string(handler_records++) + ":");
      }
    }
  }
  EXPECT_EQ(records, written);
  EXPECT_EQ(handler_records, g_signal_records);
}
