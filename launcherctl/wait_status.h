// Reads the raw wait status of a log line: how a process ended.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

struct WaitStatus {
  bool is_signal;  // Else an exit status.
  int number;      // Of the signal, or the exit status.
  bool has_core;   // A core dump was written.
};

// Takes `raw` apart; nothing for a number that no wait gives for a process that has ended.
std::optional<WaitStatus> ReadWaitStatus(int64_t raw);

// In words: "exit status 3", "signal 9 (SIGKILL)", "signal 11 (SIGSEGV), core dumped". A signal that has no name on
// this system is "signal 70".
std::string Meaning(const WaitStatus& status);

// The same for a raw status; "wait status N" for a number that no wait gives.
std::string MeaningOf(int64_t raw);

// "SIGKILL", or an empty text for a number without a name on this system.
std::string SignalName(int number);
