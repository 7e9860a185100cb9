// What every verb's exit status says.
#pragma once

enum ExitStatus {
  kAllIsWell = 0,
  kAnswerIsBad = 1,     // Something was found that needs a person.
  kNotAnswered = 2,     // Wrong usage, no permission, unreadable input; never a state of a launcher.
  kNoLauncherRuns = 3,  // Where one is needed.
};
