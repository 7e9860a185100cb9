// Children, their ends, signals and limits. The program executes itself, which takes it through the loader once more.
#include <errno.h>
#include <pwd.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/wait.h>
#ifdef __APPLE__
#include <sys/sysctl.h>
#endif
#include <time.h>
#include <unistd.h>

#include <initializer_list>

#include "tests/tools/machorun/fixture.h"

static volatile sig_atomic_t g_number = 0;

static void Handle(int number) { g_number = number; }

// Returns the wait status of a child that does `act`.
template <typename Act>
static int StatusOf(Act act) {
  const pid_t child = fork();
  if (child == 0) {
    act();
    _exit(99);
  }
  int status = 0;
  EXPECT(waitpid(child, &status, 0) == child);
  return status;
}

static void ExpectThatHandledSignalsAreTold() {
#ifdef __APPLE__  // Elsewhere the system is asked in another way.
  kinfo_proc info = {};
  int question[] = {CTL_KERN, KERN_PROC, KERN_PROC_PID, getpid()};
  size_t bytes = sizeof(info);
  EXPECT(sysctl(question, 4, &info, &bytes, nullptr, 0) == 0);
  EXPECT(bytes == sizeof(info));
  const sigset_t handled = info.kp_proc.p_sigcatch;
  EXPECT(sigismember(&handled, SIGUSR1) == 1);
  EXPECT(sigismember(&handled, SIGUSR2) == 0);
#endif
}

int main(int argc, char** argv) {
  if (argc == 3) return strcmp(argv[0], "another name") == 0 && strcmp(argv[2], "") == 0 ? 5 : 6;

  char name[] = "another name";
  char first[] = "first";
  char empty[] = "";
  char* const arguments[] = {name, first, empty, nullptr};
  const int executed = StatusOf([&] { (void)execv(argv[0], arguments); });
  EXPECT(WIFEXITED(executed) && WEXITSTATUS(executed) == 5);
  const int failed = StatusOf([] {
    char* const none[] = {nullptr};
    (void)execv("/nowhere/at/all", none);
    _exit(errno == ENOENT ? 7 : 8);
  });
  EXPECT(WEXITSTATUS(failed) == 7);

  // These have other numbers on the two systems, and so do the bits of a set.
  for (const int number : {SIGBUS, SIGUSR1, SIGUSR2, SIGKILL}) {
    const int status = StatusOf([&] { (void)raise(number); });
    EXPECT(WIFSIGNALED(status) && WTERMSIG(status) == number);
  }
  EXPECT(signal(SIGUSR1, &Handle) == SIG_DFL);
  sigset_t set;
  sigset_t previous;
  EXPECT(sigemptyset(&set) == 0);
  EXPECT(sigaddset(&set, SIGUSR1) == 0);
  EXPECT(sigprocmask(SIG_BLOCK, &set, &previous) == 0);
  EXPECT(kill(getpid(), SIGUSR1) == 0);
  EXPECT(g_number == 0);
  EXPECT(sigismember(&previous, SIGUSR1) == 0);
  EXPECT(sigprocmask(SIG_SETMASK, &previous, nullptr) == 0);
  EXPECT(g_number == SIGUSR1);
  ExpectThatHandledSignalsAreTold();
  struct sigaction action;
  EXPECT(sigaction(SIGUSR1, nullptr, &action) == 0);
  EXPECT(action.sa_handler == &Handle);
  EXPECT(signal(SIGUSR1, SIG_IGN) == &Handle);
  EXPECT(signal(SIGUSR1, SIG_DFL) == SIG_IGN);
  EXPECT(kill(getpid(), 0) == 0);

  rlimit limit;
  EXPECT(getrlimit(RLIMIT_NOFILE, &limit) == 0);
  EXPECT(limit.rlim_cur > 3);
  limit.rlim_cur = 100;
  EXPECT(setrlimit(RLIMIT_NOFILE, &limit) == 0);
  EXPECT(sysconf(_SC_OPEN_MAX) == 100);

  const passwd* const user = getpwuid(getuid());
  EXPECT(user == nullptr || user->pw_uid == getuid());
  EXPECT(user == nullptr || user->pw_dir[0] == '/');
  timespec before;
  timespec after;
  EXPECT(clock_gettime(CLOCK_MONOTONIC, &before) == 0);
  EXPECT(clock_gettime(CLOCK_MONOTONIC, &after) == 0);
  EXPECT(after.tv_sec >= before.tv_sec);
  return 0;
}
