// The counterpart of termination_linux_test.cpp.

#include <gtest/gtest.h>

TEST(Sigterm, DirectedAtASupervisorsThreadDoesNotReachTheHandlerThere) {
  GTEST_SKIP() << "macOS lets no process signal a thread of another";
}

TEST(Sigterm, IsBlockedOnTheMainThreadWhileItStartsAChildAndNotInItsWait) {
  GTEST_SKIP() << "macOS shows no process the signal mask of another";
}

TEST(SecondSupervisor, HasTheDefaultActionForSigtermAndTheOldMask) {
  GTEST_SKIP() << "macOS shows no process the signal mask of another";
}

TEST(SecondSupervisor, KeepsTheHandlersThatAreNotTheLaunchers) {
  GTEST_SKIP() << "macOS shows no process the handlers of another";
}
