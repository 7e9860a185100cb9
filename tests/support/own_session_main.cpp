// The main function of test programs that supervise or signal processes. A supervisor passes its stored process id to
// `kill` as it is, and 0 there means the whole process group: so the tests run in a session of their own, where that is
// nobody but themselves.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "tests/support/test_process.h"

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
