// The first process of a PID namespace in which a launcher's fork fails for real:
//   failing_fork_scene LAUNCHER LIST RECORDING USER
// A bystander and the launcher run as USER, who may have just as many processes as they are, the supervisor's thread
// counted. When the failure has been recorded, the launcher gets SIGTERM. Prints "launcher=STATUS bystander=STATUS",
// raw wait statuses, the bystander's being 0 when it was still alive.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "tests/support/files.h"
#include "tests/support/test_process.h"
#include "tests/support/wait_until.h"

static void BecomeUser(const char* user) {
  constexpr rlimit kThreeTasks = {3, 3};
  const auto id = static_cast<uid_t>(atoi(user));
  (void)setsid();
  if (setrlimit(RLIMIT_NPROC, &kThreeTasks) != 0 || setgid(id) != 0 || setuid(id) != 0) _exit(126);
}

int main(int argc, char** argv) {
  if (argc != 5 || getpid() != 1) return 2;
  const char* const launcher_path = argv[1];
  const char* const list = argv[2];
  const char* const recording = argv[3];

  // The launcher must find the bystander as that user's first process already.
  int ready[2];
  if (pipe(ready) != 0) return 2;
  const pid_t bystander = fork();
  if (bystander == 0) {
    BecomeUser(argv[4]);
    (void)!write(ready[1], "", 1);
    for (;;) pause();
  }
  (void)close(ready[1]);
  char byte = 0;
  if (read(ready[0], &byte, 1) != 1) return 2;
  (void)close(ready[0]);
  const pid_t launcher = fork();
  if (launcher == 0) {
    BecomeUser(argv[4]);
    (void)execl(launcher_path, launcher_path, "agent", list, nullptr);
    _exit(127);
  }
  // The list has an end mark: from its line on, `main` does nothing but begin to wait.
  const auto is_logged = [&] {
    return ReadFile(recording).find("Failed to fork") != std::string::npos &&
           ReadFile(recording).find("has no name") != std::string::npos;
  };
  if (!WaitUntil(is_logged) || !WaitUntil([&] { return MainThreadKeepsWaiting(launcher); })) return 2;
  (void)kill(launcher, SIGTERM);
  int launcher_status = 0;
  (void)waitpid(launcher, &launcher_status, 0);
  int bystander_status = 0;
  (void)WaitUntil([&] { return waitpid(bystander, &bystander_status, WNOHANG) != 0; }, std::chrono::seconds(10));
  printf("launcher=%d bystander=%d\n", launcher_status, bystander_status);
  return 0;
}
