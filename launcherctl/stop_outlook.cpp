#include "launcherctl/stop_outlook.h"

#include <algorithm>

static std::string SignalsEverybody() {
  return "SIGTERM would send SIGKILL to every process that this user may signal";
}

StopOutlook JudgeStop(const LauncherKnowledge& launcher, int64_t now_ms,
                      const std::function<std::string(int32_t)>& owner_of) {
  StopOutlook outlook;
  switch (launcher.phase) {
    case Phase::kReading:
      outlook.reason = "it reads something that is not a file for ever, and SIGTERM does nothing then; SIGKILL ends it";
      return outlook;
    case Phase::kStarting:
      outlook.reason = "it is still starting, and SIGTERM would wake nobody; try again in a few seconds";
      return outlook;
    case Phase::kStopping:
    case Phase::kEnding:
      outlook.reason = "it is ending already";
      return outlook;
    case Phase::kSupervising:
      break;
  }
  if (launcher.fork_has_failed) {
    outlook.reason = "it has logged \"Failed to fork\": " + SignalsEverybody();
    return outlook;
  }
  if (launcher.fork_may_have_failed) {
    outlook.reason = "a line of its log may say \"Failed to fork\", and then " + SignalsEverybody();
    return outlook;
  }
  const bool log_tells_all = launcher.log_reaches_back && launcher.log_shows_ends && !launcher.records_were_lost;
  if (!launcher.supervisors_are_counted && !log_tells_all) {
    outlook.reason =
        "a fork may have failed: not all its supervisors are there, and its log does not "
        "reach back to its start; after a failed fork " +
        SignalsEverybody();
    return outlook;
  }
  int64_t running = 0;
  int64_t longest_pause_ms = 0;
  int64_t at_most = 0;
  bool is_estimated = true;
  for (const SupervisorKnowledge& supervisor : launcher.supervisors) {
    const std::string whose = supervisor.item.empty() ? "an item" : supervisor.item;
    if (!supervisor.thread_is_there && !supervisor.is_surely_done) {
      outlook.reason = "the supervisor of " + whose +
                       " is gone, and the log does not rule out that its fork failed; "
                       "after a failed fork " +
                       SignalsEverybody();
      return outlook;
    }
    if (!supervisor.child_is_there) {
      if (!supervisor.stored_pid) {
        outlook.reason =
            "the log does not tell which process it would signal for " + whose + "; try again while its program runs";
        return outlook;
      }
      const std::string owner = owner_of(*supervisor.stored_pid);
      if (!owner.empty()) {
        outlook.reason = "SIGTERM would kill " + owner;
        outlook.reason += ", which has the number that " + whose + " had";
        return outlook;
      }
    }
    if (!supervisor.thread_is_there) continue;
    if (!supervisor.pause_seconds) {
      is_estimated = false;
    } else if (supervisor.child_is_there) {
      running += *supervisor.pause_seconds;
      at_most += *supervisor.pause_seconds + 1;
    } else {
      if (supervisor.next_start_ms) longest_pause_ms = std::max(longest_pause_ms, *supervisor.next_start_ms - now_ms);
      at_most += *supervisor.pause_seconds + 1;
    }
  }
  outlook.is_safe = true;
  if (is_estimated) {
    outlook.seconds_at_least = std::max(running, (longest_pause_ms + 999) / 1000);
    outlook.seconds_at_most = std::max(at_most, *outlook.seconds_at_least);
  }
  return outlook;
}
