// The verb `explain`: raw wait statuses in words.
#pragma once

#include <string>
#include <vector>

#include "launcherctl/output.h"

// Explains each of `statuses`, the numbers behind "status = " in a log line. kNotAnswered, after all the others have
// been explained, if one of them is no number, or none that a wait gives.
int RunExplain(const std::vector<std::string>& statuses, Output& out);
