// What SIGTERM meets while the children are being started. The heap's functions are this program's, so that a test sees
// where the thread allocates; `sigterm_handler` frees memory, and would wait for ever for a lock that the thread which
// it interrupted holds.

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <new>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "launcher/daemon.h"
#include "launcher/launch_list.h"
#include "launcher/sigterm_mask.h"
#include "tests/support/items.h"
#include "tests/support/wait_until.h"

static thread_local bool g_is_watched = false;
static int g_allocations = 0;
static int g_interruptible = 0;
static void (*g_at_allocation)(int) = nullptr;

static void SeeAllocation() {
  if (!g_is_watched) return;
  g_is_watched = false;
  ++g_allocations;
  sigset_t mask;
  (void)pthread_sigmask(SIG_SETMASK, nullptr, &mask);
  if (sigismember(&mask, SIGTERM) == 0) ++g_interruptible;
  if (g_at_allocation != nullptr) g_at_allocation(g_allocations);
  g_is_watched = true;
}

// Not inlined: where only one of the two is, an optimising compiler takes them for a mismatch.
[[gnu::noinline]] void* operator new(size_t size) {
  SeeAllocation();
  void* const block = malloc(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

[[gnu::noinline]] void operator delete(void* block) noexcept {
  SeeAllocation();
  free(block);
}

[[gnu::noinline]] void operator delete(void* block, size_t) noexcept {
  SeeAllocation();
  free(block);
}

static std::set<std::string> NamesInTheMap() {
  std::set<std::string> names;
  for (const auto& [name, child] : g_child_map) names.insert(name);
  return names;
}

class StartChildrenUnderSigterm : public testing::Test {
 protected:
  StartChildrenUnderSigterm() : previous(signal(SIGTERM, &sigterm_handler)) {
    g_allocations = 0;
    g_interruptible = 0;
  }
  ~StartChildrenUnderSigterm() override {
    g_is_watched = false;
    g_at_allocation = nullptr;
    g_child_map.clear();
    (void)signal(SIGTERM, previous);
  }

  // As `main` does it.
  static void Start(const std::vector<JsonObject>& items) {
    const std::string text = ListOf(items);
    const SigtermBlocked blocked;
    g_is_watched = true;
    StartChildren("agent", text);
    g_is_watched = false;
  }

 private:
  void (*const previous)(int);
};

TEST_F(StartChildrenUnderSigterm, IsNeverInterruptedInAnAllocation) {
  Start({SleepingItem("a"), SleepingItem("b"), SleepingItem("a")});
  EXPECT_GT(g_allocations, 100);
  EXPECT_EQ(g_interruptible, 0);
}

TEST_F(StartChildrenUnderSigterm, StopsWhatIsInTheMapAndGoesOn) {
  // Comes in the middle of an allocation that is made when "a" is in the map.
  g_at_allocation = [](int) {
    if (g_child_map.count("a") != 0 && g_child_map.size() == 1) {
      (void)pthread_kill(pthread_self(), SIGTERM);
      g_at_allocation = nullptr;
    }
  };
  Start({SleepingItem("a"), SleepingItem("b"), SleepingItem("c")});
  // "b" was being started.
  EXPECT_EQ(NamesInTheMap(), (std::set<std::string>{"b", "c"}));
}

TEST_F(StartChildrenUnderSigterm, ReplacesNothingThatItHasStopped) {
  g_at_allocation = [](int) {
    if (g_child_map.count("twin") != 0) {
      (void)pthread_kill(pthread_self(), SIGTERM);
      g_at_allocation = nullptr;
    }
  };
  Start({SleepingItem("twin"), SleepingItem("twin")});
  EXPECT_EQ(NamesInTheMap(), std::set<std::string>{"twin"});
}

TEST_F(StartChildrenUnderSigterm, LeavesALateOneToTheWait) {
  // Comes when the last item is in the map.
  g_at_allocation = [](int) {
    if (g_child_map.size() == 2) {
      (void)pthread_kill(pthread_self(), SIGTERM);
      g_at_allocation = nullptr;
    }
  };
  const SigtermBlocked blocked;
  Start({SleepingItem("a"), SleepingItem("b")});
  EXPECT_EQ(g_child_map.size(), 2U);
  MeetSigterm();
  EXPECT_TRUE(g_child_map.empty());
}

// --- The handler, called directly.

TEST(SigtermHandler, LeavesTheMapAloneForAnyOtherSignal) {
  g_child_map["kept"] = std::make_shared<ChildProc>("agent", SleepingItem("kept"));
  for (const int number : {SIGHUP, SIGINT, SIGKILL, SIGUSR1, 0, -1}) {
    sigterm_handler(number);
    EXPECT_EQ(g_child_map.size(), 1U) << number;
  }
  sigterm_handler(SIGTERM);
  EXPECT_TRUE(g_child_map.empty());
}

// Waits on the condition as `main` does, on a thread of its own.
class Waiter {
 public:
  Waiter() {
    std::unique_lock<std::mutex> lock(g_process_mutex);
    thread = std::thread([this] {
      std::unique_lock<std::mutex> own_lock(g_process_mutex);
      waits = true;
      g_process_condition.wait(own_lock);
      is_awake = true;
    });
    lock.unlock();
    // Whoever gets the mutex when the thread has said so, gets it from its wait.
    (void)WaitUntil([this] {
      const std::lock_guard<std::mutex> look(g_process_mutex);
      return waits;
    });
  }
  ~Waiter() {
    g_process_condition.notify_all();
    thread.join();
  }

  std::atomic<bool> is_awake = false;

 private:
  bool waits = false;
  std::thread thread;
};

TEST(SigtermHandler, WakesTheWaitWithAnEmptyMapToo) {
  ASSERT_TRUE(g_child_map.empty());
  const Waiter waiter;
  sigterm_handler(SIGTERM);
  EXPECT_TRUE(WaitUntil([&] { return waiter.is_awake.load(); }));
}

TEST(SigtermHandler, WakesNobodyForAnyOtherSignal) {
  const Waiter waiter;
  for (const int number : {SIGHUP, SIGINT, SIGKILL, SIGUSR1, 0, -1}) sigterm_handler(number);
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  EXPECT_FALSE(waiter.is_awake);
}
