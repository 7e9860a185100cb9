// A running launcher, in a session of its own, that is gone with everything it started when the object is.
#pragma once

#include <sys/types.h>

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/bundle.h"

class LauncherProcess {
 public:
  struct Options {
    std::map<std::string, std::string> environment;  // Added to the test's own.
    std::function<void()> before_exec;               // Runs in the new process.
  };

  // Starts the bundle's launcher with `arguments` behind argv[0].
  LauncherProcess(const Bundle& bundle, const std::vector<std::string>& arguments, const Options& options = {});
  // Starts it as "agent" on `list`.
  LauncherProcess(const Bundle& bundle, const std::string& list);
  ~LauncherProcess();
  LauncherProcess(const LauncherProcess&) = delete;
  LauncherProcess& operator=(const LauncherProcess&) = delete;

  // Waits for the end and returns the raw wait status, or nothing when the launcher is still running at the deadline.
  std::optional<int> WaitStatus();
  // The same for a launcher that is expected to exit: its exit status, or -1.
  int ExitStatus();
  bool IsRunning();

  void Signal(int number) const;

  // Returns when everything has been started and `main` waits for SIGTERM; one that came earlier would wake nobody. For
  // bundles with the recording logger and lists with an end mark.
  void WaitUntilItWaits() const;
  // Sends SIGTERM when `main` waits, as far as the platform tells, and returns the exit status, or -1.
  int Stop();

  // Whether no process is left in the launcher's process group.
  bool NobodyLeft() const;

  pid_t pid() const { return id; }

 private:
  pid_t id = -1;
  std::optional<int> status;
  std::string recording;
  std::string sanitizer_report;
};
