// Supervisors in the test's own process. `fork`, `kill`, `waitpid` and `pthread_create` are this program's, so that a
// test can fail or delay them, and so that no signal reaches more than one process; the end-to-end tests use the
// system's.

#include "launcher/child_proc.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <future>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

#include "common/logging/log.h"
#include "common/system/process.h"
#include "tests/support/items.h"
#include "tests/support/recording_log.h"
#include "tests/support/temp_folder.h"
#include "tests/support/wait_until.h"

using Clock = std::chrono::steady_clock;

static std::atomic<int> g_forks;
static std::function<void(int)> g_before_fork;  // Called with 1 for the first fork.
static std::function<bool()> g_fork_fails;
static std::function<void()> g_before_wait;
static std::atomic<bool> g_thread_fails;

static std::atomic<bool> g_memory_is_out;

static std::atomic<int> g_kill_calls;
static std::mutex g_kills_mutex;
static std::vector<std::pair<pid_t, int>> g_kills;

static std::vector<std::pair<pid_t, int>> Kills() {
  const std::lock_guard<std::mutex> lock(g_kills_mutex);
  return g_kills;
}

template <typename Function>
static Function* SystemFunction(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

static auto* const g_system_fork = SystemFunction<pid_t()>("fork");
static auto* const g_system_kill = SystemFunction<int(pid_t, int)>("kill");
static auto* const g_system_waitpid = SystemFunction<pid_t(pid_t, int*, int)>("waitpid");
static auto* const g_system_pthread_create =
    SystemFunction<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>("pthread_create");

extern "C" pid_t fork() {
  const int number = ++g_forks;
  if (g_before_fork) g_before_fork(number);
  if (g_fork_fails && g_fork_fails()) {
    errno = EAGAIN;
    return -1;
  }
  return g_system_fork();
}

extern "C" int kill(pid_t pid, int number) {
  ++g_kill_calls;
  if (number != 0) {
    const std::lock_guard<std::mutex> lock(g_kills_mutex);
    g_kills.emplace_back(pid, number);
  }
  return pid > 0 ? g_system_kill(pid, number) : 0;
}

extern "C" pid_t waitpid(pid_t pid, int* status, int options) {
  if (g_before_wait) g_before_wait();
  return g_system_waitpid(pid, status, options);
}

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                              void* argument) {
  if (g_thread_fails) return EAGAIN;
  return g_system_pthread_create(thread, attributes, start, argument);
}

// Not inlined: where only one of the two is, an optimising compiler takes them for a mismatch.
[[gnu::noinline]] void* operator new(size_t size) {
  void* const block = g_memory_is_out ? nullptr : malloc(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

[[gnu::noinline]] void operator delete(void* block) noexcept { free(block); }
[[gnu::noinline]] void operator delete(void* block, size_t) noexcept { free(block); }

class Supervisor : public testing::Test {
 protected:
  Supervisor() {
    g_forks = 0;
    const std::lock_guard<std::mutex> lock(g_kills_mutex);
    g_kills.clear();
    logger = &log;
  }
  ~Supervisor() override {
    logger = nullptr;
    g_before_fork = nullptr;
    g_fork_fails = nullptr;
    g_before_wait = nullptr;
    g_thread_fails = false;
    g_memory_is_out = false;
  }

  // A test that lets a fork fail would otherwise end whatever its user runs.
  void SetUp() override {
    g_kill_calls = 0;
    (void)IsRunningPID(getpid());
    ASSERT_EQ(g_kill_calls, 1) << "the supervisor's kill is not this program's";
  }

  size_t CountLogged(const std::string& part) const {
    size_t count = 0;
    for (const auto& record : log.Records())
      if (record.text.find(part) != std::string::npos) ++count;
    return count;
  }

  RecordingLog log;
};

TEST_F(Supervisor, ConstructorReturnsWhenTheFirstForkHasBeenMade) {
  g_before_fork = [](int) { std::this_thread::sleep_for(std::chrono::milliseconds(300)); };
  { const ChildProc child("agent", SleepingItem("slow")); }
  // The supervisor sends a second one if it sees the stop before it waits.
  ASSERT_FALSE(Kills().empty());
  for (const auto& [target, number] : Kills()) {
    EXPECT_GT(target, 0);
    EXPECT_EQ(number, SIGKILL);
  }
  EXPECT_EQ(CountLogged("status = 9"), 1U);
}

TEST_F(Supervisor, FailedForkIsLoggedAndNeverRetriedAndItsPidGoesToKillAsItIs) {
  g_fork_fails = [] { return true; };
  {
    const ChildProc child("agent", SleepingItem("forkless"));
    std::this_thread::sleep_for(std::chrono::milliseconds(1300));
  }
  EXPECT_EQ(g_forks, 1);
  EXPECT_EQ(CountLogged(""), 2U);
  EXPECT_EQ(CountLogged("[LAUNCHER  ] Failed to fork forkless"), 1U);
  EXPECT_EQ(log.Records()[0].level, LOGLEVEL_DEBUG);
  EXPECT_EQ(log.Records()[1].level, LOGLEVEL_ERROR);
  const std::vector<std::pair<pid_t, int>> expected = {{-1, SIGKILL}};
  EXPECT_EQ(Kills(), expected);
}

TEST_F(Supervisor, FailedForkAfterAGoodRunEndsTheSupervision) {
  g_fork_fails = [] { return g_forks == 2; };
  const ChildProc child("agent", ShellItem("second", "exit 0"));
  EXPECT_TRUE(WaitUntil([&] { return CountLogged("Failed to fork second") == 1; }));
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  EXPECT_EQ(g_forks, 2);
}

TEST_F(Supervisor, ThreadThatCannotBeStartedThrowsOnBothStandardLibrariesAlike) {
  sigset_t before;
  (void)pthread_sigmask(SIG_SETMASK, nullptr, &before);
  g_thread_fails = true;
  try {
    const ChildProc child("agent", SleepingItem("threadless"));
    FAIL() << "nothing was thrown";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code(), std::make_error_code(std::errc::resource_unavailable_try_again));
    EXPECT_EQ(std::string(error.what()).rfind("thread constructor failed", 0), 0U) << error.what();
  }
  EXPECT_TRUE(Kills().empty());
  EXPECT_EQ(g_forks, 0);
  sigset_t after;
  (void)pthread_sigmask(SIG_SETMASK, nullptr, &after);
  EXPECT_EQ(sigismember(&after, SIGTERM), sigismember(&before, SIGTERM));
}

TEST_F(Supervisor, NameThatIsNoTextThrowsBeforeAnythingIsStarted) {
  JsonObject item = SleepingItem("x");
  item.Insert("name", JsonObject("{}"));
  EXPECT_ANY_THROW(ChildProc("agent", item));
  EXPECT_EQ(g_forks, 0);
  EXPECT_TRUE(Kills().empty());
}

TEST_F(Supervisor, SigtermIsBlockedOnTheSupervisingThreadFromItsBirthAndNotOnTheConstructing) {
  sigset_t at_fork;
  (void)sigemptyset(&at_fork);
  g_before_fork = [&](int) { (void)pthread_sigmask(SIG_SETMASK, nullptr, &at_fork); };
  const ChildProc child("agent", SleepingItem("blocked"));
  EXPECT_EQ(sigismember(&at_fork, SIGTERM), 1);
  sigset_t constructing;
  (void)pthread_sigmask(SIG_SETMASK, nullptr, &constructing);
  EXPECT_EQ(sigismember(&constructing, SIGTERM), 0);
}

TEST_F(Supervisor, KeepsItsOwnCopyOfAnItemThatItWasGivenAsAView) {
  auto list = std::make_unique<JsonObject>(ListOf({ShellItem("kept", "exit 6")}).c_str());
  const ChildProc child("agent", (*list)["0"]);
  (*list)["0"]["name"] = std::string("changed");
  (*list)["0"]["args"]["1"] = std::string("exit 7");
  list.reset();
  // The second run reads the item again.
  EXPECT_TRUE(WaitUntil([&] { return CountLogged("status = 1536") >= 2; }));
  EXPECT_EQ(CountLogged("changed"), 0U);
}

TEST_F(Supervisor, StopKillsTheChildAndDoesNotWait) {
  std::atomic<bool> has_returned(false);
  std::promise<bool> seen_returned;
  g_before_wait = [&] { seen_returned.set_value(WaitUntil([&] { return has_returned.load(); })); };
  ChildProc child("agent", SleepingItem("stopped"));
  EXPECT_EQ(child.Stop(), 0);
  has_returned = true;
  EXPECT_TRUE(seen_returned.get_future().get());
  EXPECT_TRUE(WaitUntil([&] { return CountLogged("status = 9") == 1; }));
  std::this_thread::sleep_for(std::chrono::milliseconds(1300));
  EXPECT_EQ(CountLogged("Start to fork"), 1U);
}

TEST_F(Supervisor, StopReturnsKillsFailure) {
  ChildProc child("agent", RunOnce(ShellItem("ended", "exit 0")));
  ASSERT_TRUE(WaitUntil([&] { return CountLogged("is killed") == 1; }));
  EXPECT_EQ(child.Stop(), -1);  // The child has been reaped.
  EXPECT_EQ(errno, ESRCH);
}

TEST_F(Supervisor, RunOnceThreadEndsOneSecondAfterItsChild) {
  const auto start = Clock::now();
  auto child = std::make_unique<ChildProc>("agent", RunOnce(ShellItem("once", "exit 0")));
  ASSERT_TRUE(WaitUntil([&] { return CountLogged("is killed") == 1; }));
  child.reset();
  EXPECT_GE(Clock::now() - start, std::chrono::seconds(1));
  EXPECT_EQ(g_forks, 1);
}

TEST_F(Supervisor, DestructorWaitsForThePauseToRunOut) {
  const auto start = Clock::now();
  auto child = std::make_unique<ChildProc>("agent", ShellItem("pausing", "exit 0"));
  ASSERT_TRUE(WaitUntil([&] { return CountLogged("is killed") >= 2; }));
  const int forks = g_forks;
  child.reset();
  EXPECT_GE(Clock::now() - start, std::chrono::seconds(1 + 2));
  EXPECT_EQ(g_forks, forks);
}

// The fifth run begins at about 10 seconds, and a pause of 5 follows it.
TEST_F(Supervisor, DestructorTakesUpToALongPauseAndNoMore) {
  const auto start = Clock::now();
  auto child = std::make_unique<ChildProc>("agent", ShellItem("pausing", "exit 0"));
  ASSERT_TRUE(WaitUntil([&] { return CountLogged("is killed") >= 5; }));
  const int forks = g_forks;
  const auto stop = Clock::now();
  child.reset();
  EXPECT_GE(Clock::now() - start, std::chrono::seconds(1 + 2 + 3 + 4 + 5));
  EXPECT_LT(Clock::now() - stop, std::chrono::seconds(50));  // A busy machine takes its time.
  EXPECT_EQ(g_forks, forks);
}

TEST_F(Supervisor, ForksForRestartsOneAfterTheOtherAndForAFirstStartAtOnce) {
  constexpr int kCrashers = 4;
  std::promise<void> go_on;
  const std::shared_future<void> may_go_on = go_on.get_future().share();
  std::atomic<int> forks_of_restarts(0);
  std::atomic<bool> is_first_start(true);
  g_before_fork = [&](int) {
    if (is_first_start) return;
    ++forks_of_restarts;
    may_go_on.wait();
  };
  std::vector<std::unique_ptr<ChildProc>> crashers;
  for (int i = 0; i < kCrashers; ++i) {
    crashers.push_back(std::make_unique<ChildProc>("agent", ShellItem("crasher" + std::to_string(i), "exit 1")));
  }
  is_first_start = false;
  EXPECT_TRUE(WaitUntil([&] { return forks_of_restarts > 0; }));
  std::this_thread::sleep_for(std::chrono::milliseconds(500));  // The others are due as well.
  EXPECT_EQ(forks_of_restarts, 1);

  is_first_start = true;
  const ChildProc first("agent", SleepingItem("first"));  // Returns when its fork has.
  is_first_start = false;
  EXPECT_EQ(forks_of_restarts, 1);
  go_on.set_value();
  EXPECT_TRUE(WaitUntil([&] { return forks_of_restarts >= kCrashers; }));
}

// The forked children need memory and end on SIGABRT, but not the process that starts them.
TEST_F(Supervisor, GoesOnWithoutMemory) {
  logger = nullptr;  // This test's own needs memory.
  const ChildProc child("agent", ShellItem("a name that a short text does not hold", "exit 0"));
  g_memory_is_out = true;
  EXPECT_TRUE(WaitUntil([] { return g_forks >= 3; }));
  g_memory_is_out = false;
}

// Holds a fork back until the destructor has signalled the child before it, which is gone. Nobody but the supervisor
// itself can kill the child that this fork makes.
TEST_F(Supervisor, StopMissesNoChildThatIsBeingForked) {
  std::promise<void> second_fork;
  g_before_fork = [&](int number) {
    if (number != 2) return;
    second_fork.set_value();
    (void)WaitUntil([] { return !Kills().empty(); });
  };
  // Ends at once in its first run, and would stay in its second.
  const TempFolder folder;
  const std::string flag = folder.path() + "/flag";
  auto child =
      std::make_unique<ChildProc>("agent", ShellItem("late", "[ -e " + flag + " ] && exec sleep 30; : > " + flag));
  second_fork.get_future().wait();
  child.reset();
  EXPECT_EQ(Kills().size(), 2U);
  EXPECT_EQ(CountLogged("status = 9"), 1U);  // Else the program has slept to its end.
}
