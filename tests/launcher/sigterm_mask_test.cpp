#include "launcher/sigterm_mask.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <csignal>
#include <thread>

static bool IsBlocked() {
  sigset_t mask;
  (void)pthread_sigmask(SIG_SETMASK, nullptr, &mask);
  return sigismember(&mask, SIGTERM) == 1;
}

static volatile sig_atomic_t g_handled = 0;

// Counts the SIGTERMs that the handler gets, and leaves the test's thread as it was.
class CountedSigterm : public testing::Test {
 protected:
  CountedSigterm() : previous(signal(SIGTERM, [](int) { g_handled = g_handled + 1; })) { g_handled = 0; }
  ~CountedSigterm() override { (void)signal(SIGTERM, previous); }

 private:
  void (*const previous)(int);
};

using SigtermMask = CountedSigterm;

TEST_F(SigtermMask, BlocksForTheLifeOfTheObjectAndForThreadsThatAreBornMeanwhile) {
  EXPECT_FALSE(IsBlocked());
  bool blocked_in_thread = false;
  {
    const SigtermBlocked blocked;
    EXPECT_TRUE(IsBlocked());
    std::thread([&] { blocked_in_thread = IsBlocked(); }).join();
    (void)pthread_kill(pthread_self(), SIGTERM);
    EXPECT_EQ(g_handled, 0);
  }
  EXPECT_TRUE(blocked_in_thread);
  EXPECT_FALSE(IsBlocked());
  EXPECT_EQ(g_handled, 1);
}

TEST_F(SigtermMask, AdmitsAPendingOneAtOnceAndBlocksAgain) {
  const SigtermBlocked blocked;
  (void)pthread_kill(pthread_self(), SIGTERM);
  {
    const SigtermAdmitted admitted;
    EXPECT_EQ(g_handled, 1);
    EXPECT_FALSE(IsBlocked());
  }
  EXPECT_TRUE(IsBlocked());
}

TEST_F(SigtermMask, MeetsAPendingOneOnceAndNoLaterOne) {
  const SigtermBlocked blocked;
  (void)pthread_kill(pthread_self(), SIGTERM);
  MeetSigterm();
  EXPECT_EQ(g_handled, 1);
  (void)pthread_kill(pthread_self(), SIGTERM);
  EXPECT_EQ(g_handled, 1);
  EXPECT_TRUE(IsBlocked());
}

TEST_F(SigtermMask, StaysBlockedUntilTheMaskIsRestored) {
  BlockSigterm();
  EXPECT_TRUE(IsBlocked());
  RestoreSignalMask();
  EXPECT_FALSE(IsBlocked());
}
