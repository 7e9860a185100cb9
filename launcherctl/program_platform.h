// What a system executes; one file for each.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "launcherctl/binary_format.h"

// Whose programs are executed here.
extern const BinaryFormat::System kOwnSystem;

// The processors whose programs are executed here, as `BinaryFormat` calls them: this machine's own, and those that it
// stands in for.
std::vector<std::string> ExecutedProcessors();

// Whether the user has told the system to have files that begin like this, or whose path ends like this, executed by
// some other program.
bool HasForeignHandler(const std::string& path, std::string_view head);
