// The verb `why`: why a program does not run.
#pragma once

#include <string>

#include "launcherctl/launchers.h"
#include "launcherctl/output.h"

struct WhyOptions {
  WhichLaunchers which;
  std::string name;  // Of an item; empty: the launcher itself.
  bool has_name = false;
  std::string list_path;  // For when no launcher runs.
};

// kAllIsWell for "healthy" and "done", kNotAnswered for a name that neither list nor log knows.
int RunWhy(const WhyOptions& options, Output& out);
