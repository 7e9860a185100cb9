// The verb `history`: the runs, ends and pauses of each item over time, as a table, a line in the terminal, or a
// picture.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "launcherctl/output.h"

struct HistoryOptions {
  std::vector<std::string> names;    // Without one, every item.
  std::optional<std::string> since;  // time_argument.h
  std::optional<std::string> svg;    // A file to write, "-" for standard output.
  std::optional<std::string> html;
  bool timeline = false;
  bool all = false;        // Even if that takes more than a screen.
  std::string log_folder;  // A log from elsewhere; the process table is left out of account then.
  std::string list;        // Its list, for the items' names and order.
};

// kNotAnswered for a name that neither log nor list knows, without any log, and when the picture can't be written.
int RunHistory(const HistoryOptions& options, Output& out);
