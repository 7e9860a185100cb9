// Shows findings: as JSON for programs, and for people with the line that they stand in.
#pragma once

#include <vector>

#include "common/json/json_object.h"
#include "launcherctl/finding.h"
#include "launcherctl/output.h"

// One finding, with the members of `Finding`; `item` and `name` are null where it has none.
JsonObject ToJson(const Finding& finding);
JsonObject ToJson(const std::vector<Finding>& findings);  // An array.

// How many there are of each kind: "2 errors, 1 warning".
struct FindingCounts {
  int64_t errors = 0;
  int64_t warnings = 0;
  int64_t notes = 0;
};
FindingCounts CountFindings(const std::vector<Finding>& findings);
std::string CountsInWords(const FindingCounts& counts);

// Writes each finding with the line that it stands in, what comes of it and what to do:
//
//   list.json:7:15: error: /opt/app/bin/uploaderd does not exist. [program-not-found]
//       7 |     "program": "/opt/app/bin/uploaderd",
//         |                ^
//       Then: Each start fails without a word in the log, and leaves one more launcher process behind.
//       Do:   Correct the path, or put the program there.
//
// On a terminal that has no room for that they take one line each, and those that have no room either are counted,
// unless `all` is set. The files are read again for their lines.
void WriteFindings(const std::vector<Finding>& findings, bool all, Output& out);
