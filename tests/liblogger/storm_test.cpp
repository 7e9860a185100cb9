// Processes that write to one log while they are killed at random. Each record that a writer was done with must be in
// the files once, whole.
//
// The short form takes some seconds; PELLUX_SOAK=N makes it N times as long (see tests/support/soak.h).
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <map>
#include <new>
#include <random>
#include <thread>

#include "liblogger/logger.h"
#include "tests/liblogger/support.h"
#include "tests/support/sanitized.h"
#include "tests/support/soak.h"

using Clock = std::chrono::steady_clock;

static constexpr int kMany = 1 << 20;  // Older files are kept, all of them.
static constexpr size_t kMostWriters = 20000;

// What the writers tell the test, in memory that outlives them.
struct Progress {
  std::atomic<int> begun[kMostWriters];
  std::atomic<int> done[kMostWriters];
};

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

// Starts a process whose threads write until it is killed.
static pid_t StartWriters(const std::string& file, RotationLimits limits, size_t first_writer, size_t threads,
                          const SharedProgress& progress) {
  const pid_t process = fork();
  if (process != 0) return process;
  ILog* const log = MakeSmallLogger(file, limits);
  const auto write = [&](size_t writer) {
    for (int number = 0;; ++number) {
      const std::string text = Text(writer, number);
      progress->begun[writer] = number + 1;
      Log(log, LOGLEVEL_MESSAGE, "%s", text.c_str());
      progress->done[writer] = number + 1;
    }
  };
  std::vector<std::thread> others;
  for (size_t i = 1; i < threads; ++i) others.emplace_back(write, first_writer + i);
  write(first_writer);
  _exit(0);  // Never reached.
}

// What the files hold, and what is wrong with it.
struct Findings {
  int records = 0;
  int pieces = 0;
  int glued = 0;  // Whole records behind a piece of another one, on its line.
  int twice = 0;
  int missing = 0;  // Of those that a writer was done with.
};

static void ReadFileOfStorm(const std::string& file, std::map<size_t, std::map<int, int>>& found, Findings& findings) {
  for (const std::string& line : ReadLines(file)) {
    const std::string message = MessageOf(line);
    size_t writer = 0;
    int number = -1;
    if (IsRecord(line) && sscanf(message.c_str(), "%zu:%d:", &writer, &number) == 2 &&
        message == Text(writer, number)) {
      ++found[writer][number];
      ++findings.records;
    } else {
      ++findings.pieces;
      if (line.find(" MESSAGE  storm ") != line.rfind(" MESSAGE  storm ")) ++findings.glued;
    }
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
  const auto end = Clock::now() + std::chrono::seconds(3) * SoakFactor();
  const SharedProgress progress;
  std::mt19937 random(4711);
  Findings all;
  int kills = 0;
  while (Clock::now() < end) {
    const TempFolder temp;
    const std::string file = temp.path() + "/storm.log";
    size_t writers = 0;
    std::vector<pid_t> processes;
    const auto start_one = [&] {
      for (size_t i = 0; i < kThreads; ++i) {
        progress->begun[writers + i] = 0;
        progress->done[writers + i] = 0;
      }
      processes.push_back(StartWriters(file, {1 << 20, kMany}, writers, kThreads, progress));
      writers += kThreads;
    };
    const auto kill_one = [&](size_t which) {
      (void)kill(processes[which], SIGKILL);
      (void)waitpid(processes[which], nullptr, 0);
      processes.erase(processes.begin() + static_cast<ptrdiff_t>(which));
      ++kills;
    };
    for (size_t i = 0; i < kProcesses; ++i) start_one();
    for (int i = 0; i < 100 && Clock::now() < end; ++i) {
      std::this_thread::sleep_for(std::chrono::microseconds(random() % 4000));
      kill_one(random() % processes.size());
      start_one();
    }
    while (!processes.empty()) kill_one(0);
    const Findings round = ReadStorm(temp.path(), writers, progress);
    all.records += round.records;
    all.pieces += round.pieces;
    all.glued += round.glued;
    all.twice += round.twice;
    all.missing += round.missing;
  }
  EXPECT_EQ(all.twice, 0);
  // A piece that is left in the microseconds between another one's look and its write may have a record behind it.
  EXPECT_EQ(all.missing, all.glued);
  EXPECT_LE(all.glued, kills / 20);
  ShowFigures(std::to_string(kills) + " kills, " + std::to_string(all.records) + " records, " +
              std::to_string(all.pieces) + " torn, " + std::to_string(all.glued) + " glued, " +
              std::to_string(all.missing) + " missing");
}
