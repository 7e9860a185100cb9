// Reads the launch list and starts what it lists.
//
// The list is a JSON object whose items are keyed "0", "1", "2", ... without a gap; the first missing number ends it.
// Each item is an object with a "name"; child_proc.h says what else may stand in it.
//
//   { "0": { "name": "sync", "program": "/opt/app/bin/syncd", "argc": 1, "args": { "0": "--quiet" } } }
#pragma once

#include <string>

// Reads the file `path` into `text`, up to its first NUL byte. Returns false, `text` left alone, when the file can't be
// opened or holds no bytes; both are logged. A path that opens but never reaches its end, such as a folder, is read for
// ever.
bool ReadData(std::string path, std::string& text);

// Parses `text` and starts a supervisor for each of its items, kept in `g_child_map` under the item's name. An item
// whose name is taken replaces the earlier one, which is stopped after the new one has started. An item without a name
// is logged and skipped.
//
// Called with SIGTERM blocked, so that its handler does not interrupt an allocation, it handles one that has come each
// time a supervisor has been started, just before that one enters the map.
//
// Throws an `AERROR` for a text that is no JSON, and what the JSON library and `ChildProc` throw. Supervisors that were
// started before stay.
void StartChildren(const std::string& launcher_name, const std::string& text);
