// A program to be supervised that tells how it was started: `report_self FILE [ARGUMENT...]` writes to FILE, which
// appears complete or not at all, one line each:
//   argument=TEXT      for argv, argv[0] included
//   descriptor=N       for every open descriptor
//   blocked=N          for every blocked signal
//   not_default=N      for every signal whose action is not the default one
// Then it waits to be killed. Without FILE it ends at once, with status 42 if it was given exactly argv[0] and 2
// otherwise.

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <fstream>
#include <string>

int main(int argc, char** argv) {
  if (argc < 2) return argc == 1 && std::string(argv[0]) == REPORT_PROGRAM ? 42 : 2;
  std::string report;
  const auto add = [&report](const char* key, const std::string& value) {
    report += std::string(key) + "=" + value + "\n";
  };
  for (char** argument = argv; *argument != nullptr; ++argument) add("argument", *argument);
  add("count", std::to_string(argc));
  for (int descriptor = 0; descriptor < 1024; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) != -1) add("descriptor", std::to_string(descriptor));
  }
  sigset_t blocked;
  (void)sigprocmask(SIG_SETMASK, nullptr, &blocked);
  for (int number = 1; number < NSIG; ++number) {
    if (sigismember(&blocked, number) == 1) add("blocked", std::to_string(number));
    struct sigaction action = {};
    if (sigaction(number, nullptr, &action) == 0 && action.sa_handler != SIG_DFL) {
      add("not_default", std::to_string(number));
    }
  }
  const std::string path = argv[1];
  const std::string unfinished = path + ".unfinished";
  std::ofstream(unfinished) << report;
  if (rename(unfinished.c_str(), path.c_str()) != 0) return 1;
  for (;;) pause();
}
