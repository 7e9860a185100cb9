// A launcher into which faults are injected (injected_faults_linux.cpp), and what it did about them.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tests/support/bundle.h"
#include "tests/support/launcher_process.h"
#include "tests/support/soak.h"

// Why nothing can be injected here; empty where it can.
std::string WhyNoFaults();

// The options of a launcher with these faults, which are the variables that injected_faults_linux.cpp describes.
LauncherProcess::Options WithFaults(const Bundle& bundle, std::map<std::string, std::string> faults);

// What the preloaded library has reported of the launchers in `bundle`.
struct InjectedReport {
  struct Kill {
    pid_t process;
    pid_t target;
    int number;
  };
  struct Pause {
    pid_t process;
    pid_t thread;
    int64_t nanoseconds;
  };
  std::vector<Kill> kills;
  std::vector<Pause> pauses;
  std::map<pid_t, long> allocations;  // By process.
};
InjectedReport ReadReport(const Bundle& bundle);
