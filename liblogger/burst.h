// Tells whether a thread writes one record right after another.
#pragma once

#include <cstdint>

// A pause in which a thread can't have removed or renamed a file, because the system takes longer than that.
static constexpr int64_t kShortestChangeNs = 250;

// One thread's last record. While it writes record after record, it has had no time to change anything about the file
// itself, and what it has seen of the file need not be looked at anew for its own sake. Times are in nanoseconds.
class Burst {
 public:
  // To be called when a record has been written to the file that `log` shares among threads. `log` is only a name.
  void Written(const void* log, int64_t now_ns) {
    last_log = log;
    written_ns = now_ns;
  }

  // To be called when a record has gone elsewhere or been lost.
  void End() { last_log = nullptr; }

  // Whether a record for `log` that begins now follows the last one at once. A clock that was set back ends the burst.
  bool GoesOn(const void* log, int64_t now_ns) const {
    const int64_t passed_ns = now_ns - written_ns;
    return last_log == log && passed_ns >= 0 && passed_ns < kShortestChangeNs;
  }

 private:
  const void* last_log = nullptr;
  int64_t written_ns = 0;
};

// Returns the calling thread's burst, or null where a platform cannot keep one without allocating memory. Takes no
// lock.
Burst* CurrentBurst();
