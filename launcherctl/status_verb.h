// The verb `status`: the launchers of this user that run now, and what each of their items does.
#pragma once

#include <optional>
#include <string>

#include "launcherctl/launchers.h"
#include "launcherctl/output.h"

struct StatusOptions {
  WhichLaunchers which;
  std::optional<double> watch_seconds;  // Again and again, with this pause, until SIGINT or SIGTERM.
  bool all = false;                     // Every item, even if that takes more than a screen.
};

// kAnswerIsBad when an item of a launcher is in trouble, kNoLauncherRuns without a launcher. Of a watch, the last
// look's.
int RunStatus(const StatusOptions& options, Output& out);

// The JSON of a launcher and of what is left of others, as `status` shows them.
JsonObject LauncherToJson(const RunningLauncher& launcher, int64_t now_ms);
JsonObject LeftoversToJson(const std::vector<Leftover>& leftovers);

// One line a leftover, for people.
std::string LeftoverText(const Leftover& leftover, int64_t now_ms);
