// The verb `stop`: an orderly stop of a launcher that reaches nobody else. The only file of this tool that signals.
#pragma once

#include <cstdint>
#include <optional>

#include "launcherctl/output.h"

struct StopOptions {
  std::optional<int32_t> pid;
  std::optional<double> timeout_seconds;  // Without it, as long as the stop may take, and a minute.
  bool yes = false;                       // Don't ask.
  bool kill = false;  // Where SIGTERM is not safe: end the launcher with SIGKILL, and its programs one by one.
};

// kAllIsWell when the launcher and its programs are gone; kAnswerIsBad when it is refused, when the timeout is over and
// when something is left; kNotAnswered when it may not act; kNoLauncherRuns when there is none.
int RunStop(const StopOptions& options, Output& out);
