#include "tests/support/fault_scene.h"

#include <sstream>

#include "tests/support/files.h"
#include "tests/support/test_process.h"

std::string WhyNoFaults() {
#if defined(PELLUX_HAS_SANITIZERS)
  return "a sanitizer has replaced the heap and the clock already";
#else
  return LibrariesReplaceSystemFunctions() ? "" : "here a preloaded library takes the place of no system function";
#endif
}

LauncherProcess::Options WithFaults(const Bundle& bundle, std::map<std::string, std::string> faults) {
  LauncherProcess::Options options;
  options.environment = std::move(faults);
  options.environment["LD_PRELOAD"] = INJECTED_FAULTS;
  options.environment["INJECTED_REPORT"] = bundle.PathOf("report");
  return options;
}

InjectedReport ReadReport(const Bundle& bundle) {
  InjectedReport report;
  for (const std::string& line : ReadLines(bundle.PathOf("report"))) {
    std::istringstream fields(line);
    std::string what;
    pid_t process = 0;
    fields >> what >> process;
    if (what == "kill") {
      InjectedReport::Kill& call = report.kills.emplace_back();
      call.process = process;
      fields >> call.target >> call.number;
    } else if (what == "pause") {
      InjectedReport::Pause& call = report.pauses.emplace_back();
      call.process = process;
      fields >> call.thread >> call.nanoseconds;
    } else if (what == "allocations") {
      fields >> report.allocations[process];
    }
  }
  return report;
}
