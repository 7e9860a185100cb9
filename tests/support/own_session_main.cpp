// The main function of test programs that supervise or signal processes. A supervisor passes its stored process id to
// `kill` as it is, and 0 there means the whole process group: so the tests run in a session of their own, where that is
// nobody but themselves.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "tests/support/test_process.h"

// A program in the background of a script ignores SIGINT, and one under `nohup` SIGHUP. What the tests start would do
// so, too.
static void TakeSignalsAsTheyComeByDefault() {
  for (int number = 1; number < NSIG; ++number) {
    struct sigaction action = {};
    if (sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) (void)signal(number, SIG_DFL);
  }
  sigset_t none;
  (void)sigemptyset(&none);
  (void)sigprocmask(SIG_SETMASK, &none, nullptr);
}

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  const pid_t tests = fork();
  if (tests < 0) {
    perror("fork");
    return 1;
  }
  if (tests == 0) {
    (void)setsid();
    EndWithParent(SIGKILL);
    AdoptOrphans();
    TakeSignalsAsTheyComeByDefault();
    return RUN_ALL_TESTS();
  }
  int status = 0;
  if (waitpid(tests, &status, 0) != tests) {
    perror("waitpid");
    return 1;
  }
  if (WIFSIGNALED(status)) fprintf(stderr, "The tests were ended by signal %d.\n", WTERMSIG(status));
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}
