// Processes that write to one log while they are killed at random, or while their disk is filled and freed. Each record
// that a writer was done with must be in the files once, whole, or be counted as lost.
//
// The short form takes some seconds; PELLUX_SOAK=N makes it N times as long (see tests/support/soak.h).
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <new>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "liblogger/logger.h"
#include "tests/liblogger/support.h"
#include "tests/support/sanitized.h"
#include "tests/support/soak.h"
#include "tests/support/wait_until.h"

static constexpr int kMany = 1 << 20;  // Older files are kept, all of them.
static constexpr size_t kMostWriters = 20000;

// Of one writer, so that a storm's files don't become as large as the machine is fast, or the killer slow.
static constexpr int kMostRecords = 1000;

// A child's result on a machine that can't provide what the test needs.
static constexpr int kNotHere = 77;

// What the files hold, and what is wrong with it.
struct Findings {
  int records = 0;
  int pieces = 0;
  int glued = 0;  // Whole records behind a piece of another one, on its line; they count as records.
  int twice = 0;
  int missing = 0;       // Of those that a writer was done with.
  int lost = 0;          // As the loss records tell.
  int glued_losses = 0;  // Loss records behind a piece.

  void Add(const Findings& other) {
    records += other.records;
    pieces += other.pieces;
    glued += other.glued;
    twice += other.twice;
    missing += other.missing;
    lost += other.lost;
    glued_losses += other.glued_losses;
  }

  std::string Text() const {
    return std::to_string(records) + " records, " + std::to_string(pieces) + " torn, " + std::to_string(glued) +
           " glued, " + std::to_string(missing) + " missing, " + std::to_string(lost) + " counted as lost";
  }
};

// What the processes tell the test.
struct Progress {
  std::atomic<int> begun[kMostWriters];
  std::atomic<int> done[kMostWriters];
  std::atomic<bool> stop;
  // Of a process that alone sees the files.
  int times_full;
  Findings findings;
};

// An object in memory that outlives the processes that share it.
class SharedProgress {
 public:
  SharedProgress() {
    void* const memory = mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::bad_alloc();
    progress = new (memory) Progress;
  }
  ~SharedProgress() { (void)munmap(progress, sizeof(Progress)); }
  SharedProgress(const SharedProgress&) = delete;
  SharedProgress& operator=(const SharedProgress&) = delete;
  Progress* operator->() const { return progress; }

 private:
  Progress* progress;
};

// A message whose length, up to 4000 bytes, and text follow from its numbers, so that a missing piece shows.
static std::string Text(size_t writer, int number) {
  const size_t length = (static_cast<size_t>(number) * 977 + writer * 331) % 3980;
  return std::to_string(writer) + ":" + std::to_string(number) + ":" +
         std::string(length, static_cast<char>('a' + number % 26)) + ".";
}

static ILog* MakeSmallLogger(const std::string& file, RotationLimits limits) {
  static const UtcOffsets* const offsets = [] {
    EXPECT_EQ(Logger::PrepareForForks(), 0);
    return new UtcOffsets;
  }();
  return new Logger(file.c_str(), "storm", LOGLEVEL_DEBUG, *offsets, limits);
}

// Starts a process whose threads write, with a pause after each record, and stay until they are to stop or are killed.
static pid_t StartWriters(const std::string& file, std::chrono::microseconds pause, size_t first_writer, size_t threads,
                          const SharedProgress& progress) {
  for (size_t i = 0; i < threads; ++i) {
    progress->begun[first_writer + i] = 0;
    progress->done[first_writer + i] = 0;
  }
  const pid_t process = fork();
  if (process != 0) return process;
  ILog* const log = MakeSmallLogger(file, {1 << 20, kMany});
  const auto write = [&](size_t writer) {
    for (int number = 0; number < kMostRecords && !progress->stop; ++number) {
      const std::string text = Text(writer, number);
      progress->begun[writer] = number + 1;
      Log(log, LOGLEVEL_MESSAGE, "%s", text.c_str());
      progress->done[writer] = number + 1;
      if (pause.count() > 0) std::this_thread::sleep_for(pause);
    }
    while (!progress->stop) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  };
  std::vector<std::thread> others;
  for (size_t i = 1; i < threads; ++i) others.emplace_back(write, first_writer + i);
  write(first_writer);
  for (std::thread& other : others) other.join();
  Log(log, LOGLEVEL_MESSAGE, "end");  // Tells of what was lost before.
  _exit(0);
}

static constexpr char kLossStart[] = "[LOGGER    ] ";

// The number that a loss record ends the line with; 0 if none does, or only a piece of one.
static int LostBefore(const std::string& line) {
  static const std::string behind = " lost, errno " + std::to_string(ENOSPC);
  const size_t start = line.rfind(kLossStart);
  const size_t end = line.rfind(behind);
  if (start == std::string::npos || end == std::string::npos || end + behind.size() != line.size()) return 0;
  return std::stoi(line.substr(start + strlen(kLossStart)));
}

static void ReadFileOfStorm(const std::string& file, std::map<size_t, std::map<int, int>>& found, Findings& findings) {
  for (const std::string& line : ReadLines(file)) {
    if (const int lost = LostBefore(line); lost > 0) {
      findings.lost += lost;
      if (MessageOf(line).rfind(kLossStart, 0) != 0) ++findings.glued_losses;
      continue;
    }
    // All before the last record on the line is a piece, or several.
    constexpr size_t kTimeBytes = 29;
    const size_t level = line.rfind(" MESSAGE  storm ");
    const bool has_record = level != std::string::npos && level >= kTimeBytes;
    const std::string record = has_record ? line.substr(level - kTimeBytes) : line;
    const std::string message = MessageOf(record);
    size_t writer = 0;
    int number = -1;
    const bool is_glued = record.size() < line.size();
    if (IsRecord(record) && sscanf(message.c_str(), "%zu:%d:", &writer, &number) == 2 &&
        message == Text(writer, number)) {
      ++found[writer][number];
      ++findings.records;
      if (is_glued) ++findings.glued;
    } else if (!IsRecord(record) || message != "end") {
      ++findings.pieces;
    }
    if (is_glued) ++findings.pieces;
  }
}

static Findings ReadStorm(const std::filesystem::path& folder, size_t writers, const SharedProgress& progress) {
  Findings findings;
  std::map<size_t, std::map<int, int>> found;
  // Whatever they are called: a process that is killed while it renames leaves a gap in their numbers.
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().filename().string().rfind("storm.log", 0) == 0) ReadFileOfStorm(entry.path(), found, findings);
  }
  for (size_t writer = 0; writer < writers; ++writer) {
    for (int number = 0; number < progress->done[writer]; ++number) {
      const auto times = found[writer].find(number);
      if (times == found[writer].end()) ++findings.missing;
    }
    for (const auto& [number, times] : found[writer]) {
      if (times > 1) ++findings.twice;
      EXPECT_LT(number, progress->begun[writer]);
    }
  }
  return findings;
}

TEST(Storm, OfKilledProcessesLosesNoRecordThatWasWritten) {
  if (kSanitized) GTEST_SKIP() << "with a sanitizer the writers are too slow to meet";
  constexpr size_t kProcesses = 6;
  constexpr size_t kThreads = 3;
  constexpr int kKills = 20;
  const SharedProgress progress;
  std::mt19937 random(4711);
  Findings all;
  int kills = 0;
  for (int round = 0; round < 2 * SoakFactor(); ++round) {
    const TempFolder temp;
    const std::string file = temp.path() + "/storm.log";
    size_t writers = 0;
    std::vector<pid_t> processes;
    const auto start_one = [&] {
      processes.push_back(StartWriters(file, std::chrono::microseconds(0), writers, kThreads, progress));
      writers += kThreads;
    };
    const auto kill_one = [&](size_t which) {
      (void)kill(processes[which], SIGKILL);
      (void)waitpid(processes[which], nullptr, 0);
      processes.erase(processes.begin() + static_cast<ptrdiff_t>(which));
      ++kills;
    };
    for (size_t i = 0; i < kProcesses; ++i) start_one();
    for (int i = 0; i < kKills; ++i) {
      std::this_thread::sleep_for(std::chrono::microseconds(random() % 4000));
      kill_one(random() % processes.size());
      start_one();
    }
    while (!processes.empty()) kill_one(0);
    all.Add(ReadStorm(temp.path(), writers, progress));
  }
  // A piece that is left in the microseconds between another one's look and its write may have a record behind it.
  EXPECT_EQ(all.twice, 0);
  EXPECT_EQ(all.missing, 0);
  EXPECT_GT(all.records, 0);
  ShowFigures(std::to_string(kills) + " kills, " + all.Text());
}

// Takes all that is left of the disk.
static void FillDisk(const std::string& ballast) {
  static const std::string bytes(1 << 16, 'x');
  std::ofstream file(ballast, std::ios::binary);
  while (file.write(bytes.data(), static_cast<std::streamsize>(bytes.size())).flush()) {
  }
}

// Waits until so many writers were done with `count` records more, or had no more to write.
static bool WaitForRecords(int count, size_t writers, const SharedProgress& progress) {
  const auto done = [&] {
    int sum = 0;
    for (size_t writer = 0; writer < writers; ++writer) sum += progress->done[writer];
    return sum;
  };
  const int wanted = std::min(done() + count, static_cast<int>(writers) * kMostRecords);
  return WaitUntil([&] { return done() >= wanted; });
}

// What becomes of the records of several processes on a small disk of their own that is filled and freed again and
// again. For a process of its own, whose exit status it returns: the disk ends with it.
static int StormOnASmallDisk(const std::string& folder, const SharedProgress& progress) {
  constexpr size_t kProcesses = 4;
  constexpr size_t kThreads = 3;
  constexpr size_t kWriters = kProcesses * kThreads;
  constexpr std::chrono::milliseconds kPause(1);
  constexpr unsigned kMostAtOnce = 200;                 // Records while the disk is full, and while it is not.
  if (!MountSmallDisk(folder, "32m")) return kNotHere;  // The log itself can't fill it: see `kMostRecords`.
  std::vector<pid_t> processes;
  for (size_t i = 0; i < kProcesses; ++i) {
    processes.push_back(StartWriters(folder + "/storm.log", kPause, i * kThreads, kThreads, progress));
  }
  std::mt19937 random(815);
  int failures = 0;
  for (; progress->times_full < 15; ++progress->times_full) {
    FillDisk(folder + "/ballast");
    failures += WaitForRecords(static_cast<int>(random() % kMostAtOnce), kWriters, progress) ? 0 : 1;
    std::filesystem::remove(folder + "/ballast");
    failures += WaitForRecords(static_cast<int>(random() % kMostAtOnce), kWriters, progress) ? 0 : 1;
  }
  progress->stop = true;
  for (const pid_t process : processes) failures += WaitForChild(process) != 0 ? 1 : 0;
  progress->findings = ReadStorm(folder, kWriters, progress);
  return failures;
}

TEST(Storm, OnADiskThatIsFilledAndFreedKeepsOrCountsEveryRecord) {
  if (kSanitized) GTEST_SKIP() << "with a sanitizer the writers are too slow to meet";
  Findings all;
  int times_full = 0;
  for (int round = 0; round < 2 * SoakFactor(); ++round) {
    const TempFolder temp;
    const SharedProgress progress;
    const int result = RunInChild([&] { return StormOnASmallDisk(temp.path(), progress); });
    if (result == kNotHere) GTEST_SKIP() << "no private file system can be mounted here";
    ASSERT_EQ(result, 0) << "round " << round;
    all.Add(progress->findings);
    times_full += progress->times_full;
  }
  EXPECT_EQ(all.twice, 0);
  EXPECT_GT(all.lost, 0);
  EXPECT_EQ(all.missing, all.lost);
  EXPECT_LE(all.glued + all.glued_losses, times_full / 5);
  ShowFigures("full " + std::to_string(times_full) + " times, " + all.Text());
}
