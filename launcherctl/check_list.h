// Finds everything in a launch list that the launcher would read otherwise than its author meant.
#pragma once

#include <vector>

#include "launcherctl/finding.h"
#include "launcherctl/launch_list_reader.h"

// Returns what is wrong with the list, sorted by place; none when all is well. The programs that it names are looked
// at, but nothing is started. Not safe for one list on several threads at once.
//
//   NeedsAPerson(CheckList(ReadLaunchList("list.json")))
std::vector<Finding> CheckList(const LaunchList& list);
