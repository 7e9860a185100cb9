// What a stop of a launcher would reach, and how long it would take, judged before anybody sends SIGTERM. Pure, as
// model.h.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "launcherctl/model.h"

// Whether SIGTERM would reach nobody but the launcher's own programs, and how long the stop would take.
struct StopOutlook {
  bool is_safe = false;
  std::string reason;  // Why it is not, or what else is to be known.
  std::optional<int64_t> seconds_at_least;
  std::optional<int64_t> seconds_at_most;
};

// `owner_of` tells who has a process number now, as text for people, or an empty text if nobody has.
StopOutlook JudgeStop(const LauncherKnowledge& launcher, int64_t now_ms,
                      const std::function<std::string(int32_t)>& owner_of);
