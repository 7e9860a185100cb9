// A gate that one thread opens for another that waits for it.
#pragma once

#include <condition_variable>
#include <mutex>

// Closed at first, opened once. The waiting thread may destroy it as soon as `WaitUntilOpen` has returned: `Open` does
// not touch it after that. Takes a lock, so a forked child must not use the copy that it has.
class Gate {
 public:
  Gate() = default;
  Gate(const Gate&) = delete;
  Gate& operator=(const Gate&) = delete;

  void Open() {
    const std::lock_guard<std::mutex> lock(mutex);
    is_open = true;
    condition.notify_one();  // Under the lock, which the other thread needs to go on.
  }

  void WaitUntilOpen() {
    std::unique_lock<std::mutex> lock(mutex);
    condition.wait(lock, [this] { return is_open; });
  }

 private:
  std::mutex mutex;
  std::condition_variable condition;
  bool is_open = false;
};
