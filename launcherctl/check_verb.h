// The verb `check`: what in a launch list and in the settings the launcher would read otherwise than their author
// meant.
#pragma once

#include <string>
#include <vector>

#include "launcherctl/output.h"

struct CheckOptions {
  std::vector<std::string> lists;  // None: those of the running launchers, each with its own bundle's settings.
  bool without_settings = false;
  bool all = false;  // Everything in full, even if that takes more than a screen.
};

// Checks the lists, and the settings of this program's bundle. kAnswerIsBad from the first error or warning on,
// kNoLauncherRuns when no list is named and none is in use.
int RunCheck(const CheckOptions& options, Output& out);
