// Why a program does not run: one diagnosis, what proves it, and what to do. The manual's night section, walked by the
// program. The cause goes before its effect: a program that does not exist rather than starts that fail.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "launcherctl/launchers.h"

struct Evidence {
  std::string where;  // "launcher.log:22", "list.json:9:16", "process 715"
  std::string text;
};

struct Diagnosis {
  std::optional<std::string> item;  // The item's name.
  // One of `check`'s codes, or: healthy, crashes, start-fails, given-up, done, pausing-long, replaced, needs-streams,
  // list-changed, not-running-list, not-running-never-started, not-running-stopped, not-running-crashed,
  // log-unavailable, unknown.
  std::string code = "unknown";
  std::string summary;  // A sentence. Like all texts here it is escaped already.
  std::vector<Evidence> evidence;
  std::vector<std::string> remedy;  // Commands to copy, and what can't be done by one.
};

bool IsWell(const Diagnosis& diagnosis);

Diagnosis DiagnoseItem(const RunningLauncher& launcher, const ItemKnowledge& item, int64_t now_ms);

// The launcher itself: what concerns all of it, or else the item that needs a person most.
Diagnosis DiagnoseLauncher(const RunningLauncher& launcher, int64_t now_ms);

// What is known when no launcher runs.
struct NoLauncher {
  std::string bundle;
  std::string library;  // The logging library's file.
  bool library_is_there = true;
  std::string list_path;          // Empty where nothing tells which list it is run with.
  bool list_is_guessed = false;   // From a launch agent, or from what is left behind.
  std::vector<Finding> findings;  // Of that list and the settings.
  std::string log_path;
  const Log* log = nullptr;
  std::vector<Leftover> leftovers;
  int64_t now_ms = 0;
};

Diagnosis DiagnoseNoLauncher(const NoLauncher& known);

// `text` as one word for a shell.
std::string ShellQuoted(const std::string& text);
