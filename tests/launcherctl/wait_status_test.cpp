#include "launcherctl/wait_status.h"

#include <gtest/gtest.h>

TEST(MeaningOf, IsTheStatusInWords) {
  const struct {
    int64_t raw;
    const char* meaning;
  } rows[] = {
      {0, "exit status 0"},
      {256, "exit status 1"},
      {768, "exit status 3"},
      {65280, "exit status 255"},
      {9, "signal 9 (SIGKILL)"},
      {11, "signal 11 (SIGSEGV)"},
      {139, "signal 11 (SIGSEGV), core dumped"},
      {70, "signal 70"},
      {198, "signal 70, core dumped"},
  };
  for (const auto& row : rows) EXPECT_EQ(MeaningOf(row.raw), row.meaning) << row.raw;
}

TEST(ReadWaitStatus, RefusesWhatNoWaitGives) {
  // Negative, beyond 16 bits, a stopped process, a core dump without a signal, a signal with an exit status.
  for (const int64_t raw : {-1L, 65536L, 127L, 0x137FL, 128L, 255L, 265L}) {
    EXPECT_FALSE(ReadWaitStatus(raw)) << raw;
  }
}
