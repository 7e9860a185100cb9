// Mutexes and conditions of every kind of birth, stacks of a thread, and a wait that a signal's handler interrupts.
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "tests/tools/machorun/fixture.h"

static std::mutex g_mutex;
static std::condition_variable g_condition;
static pthread_mutex_t g_plain = PTHREAD_MUTEX_INITIALIZER;
static std::recursive_mutex g_recursive;
static volatile sig_atomic_t g_handled = 0;

static void Handle(int) {
  g_handled = 1;
  g_condition.notify_all();
}

int main() {
  int count = 0;
  const auto add = [&count] {
    for (int i = 0; i < 10000; ++i) {
      const std::lock_guard<std::mutex> lock(g_mutex);
      ++count;
    }
  };
  std::thread other(add);
  add();
  other.join();
  EXPECT(count == 20000);

  EXPECT(pthread_mutex_lock(&g_plain) == 0);
  EXPECT(pthread_mutex_trylock(&g_plain) != 0);
  EXPECT(pthread_mutex_unlock(&g_plain) == 0);
  g_recursive.lock();
  g_recursive.lock();
  g_recursive.unlock();
  g_recursive.unlock();

  {
    std::unique_lock<std::mutex> lock(g_mutex);
    EXPECT(g_condition.wait_for(lock, std::chrono::milliseconds(20)) == std::cv_status::timeout);
    bool told = false;
    std::thread teller([&] {
      const std::lock_guard<std::mutex> told_lock(g_mutex);
      told = true;
      g_condition.notify_one();
    });
    g_condition.wait(lock, [&] { return told; });
    lock.unlock();
    teller.join();
  }

  EXPECT(signal(SIGALRM, &Handle) == SIG_DFL);
  (void)alarm(1);
  {
    std::unique_lock<std::mutex> lock(g_mutex);
    while (g_handled == 0) g_condition.wait(lock);
  }

  std::thread with_stack([] {
    volatile char room[300 * 1024];
    room[0] = 1;
    EXPECT(room[0] == 1);
  });
  with_stack.join();
  return 0;
}
