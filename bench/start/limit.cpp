// limit vfork|fork COUNT CHILD: what the machine itself takes. One thread starts COUNT children in one loop and does
// nothing else for them; one that ends is started again a second later. No supervisor can be cheaper.
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/wait.h>

#include <deque>
#include <map>

#include "bench/start/record.h"

static constexpr int64_t kPause = 1000000000;

static bool g_uses_vfork = false;
static char* g_program = nullptr;

static pid_t Start(int id) {
  char text[12];
  (void)snprintf(text, sizeof(text), "%d", id);
  char* arguments[] = {g_program, text, nullptr};
  const pid_t pid = g_uses_vfork ? vfork() : fork();
  if (pid == 0) {
    sigset_t none;
    (void)sigemptyset(&none);
    (void)sigprocmask(SIG_SETMASK, &none, nullptr);
    (void)execv(g_program, arguments);
    _exit(EXIT_FAILURE);
  }
  return pid;
}

int main(int argc, char** argv) {
  if (argc < 4) return EXIT_FAILURE;
  g_uses_vfork = strcmp(argv[1], "vfork") == 0;
  const int count = atoi(argv[2]);
  g_program = argv[3];

  sigset_t ends;
  (void)sigemptyset(&ends);
  (void)sigaddset(&ends, SIGCHLD);
  (void)sigprocmask(SIG_BLOCK, &ends, nullptr);

  std::map<pid_t, int> id_of;
  for (int id = 0; id < count; ++id) id_of[Start(id)] = id;

  struct Restart {
    int64_t due;
    int id;
  };
  std::deque<Restart> restarts;  // In the order of their time, because all pauses are the same.
  for (;;) {
    if (restarts.empty()) {
      (void)sigwaitinfo(&ends, nullptr);
    } else if (const int64_t left = restarts.front().due - Now(CLOCK_MONOTONIC); left > 0) {
      const timespec time = {left / 1000000000, left % 1000000000};
      (void)sigtimedwait(&ends, nullptr, &time);
    }
    for (pid_t pid; (pid = waitpid(-1, nullptr, WNOHANG)) > 0; id_of.erase(pid)) {
      restarts.push_back({Now(CLOCK_MONOTONIC) + kPause, id_of[pid]});
    }
    while (!restarts.empty() && restarts.front().due <= Now(CLOCK_MONOTONIC)) {
      const int id = restarts.front().id;
      restarts.pop_front();
      id_of[Start(id)] = id;
    }
  }
}
