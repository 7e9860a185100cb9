// Waits for what another process or thread brings about.
#pragma once

#include <chrono>
#include <thread>

// Longer than anything takes even on a busy machine with sanitizers; only a failing test waits that long.
static constexpr std::chrono::seconds kDeadline(240);

// Asks `condition` again and again until it holds, and returns true then; false when the deadline comes first.
template <typename Condition>
bool WaitUntil(Condition condition, std::chrono::milliseconds deadline = kDeadline) {
  const auto end = std::chrono::steady_clock::now() + deadline;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}
