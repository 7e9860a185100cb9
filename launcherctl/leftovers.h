// What launchers that are gone have left behind: second supervisors, and programs. Pure, as model.h.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "launcherctl/model.h"
#include "launcherctl/processes.h"

struct Leftover {
  int32_t pid = 0;
  int32_t parent = 0;
  bool is_program = false;  // Else a second supervisor.
  std::optional<std::string> item;
  std::optional<int32_t> launcher;  // The process id that it had, where that is known.
  int64_t since_ms = 0;
};

// `launchers` are those that run; `gone_launchers` the process ids of earlier ones, from the logs; `items` what the
// known lists hold.
std::vector<Leftover> FindLeftovers(const ProcessTable& table, const std::vector<const Process*>& launchers,
                                    const std::vector<int32_t>& gone_launchers, const std::vector<PlannedItem>& items);
