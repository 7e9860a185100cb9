// A history as text and as JSON.
#pragma once

#include <string>

#include "common/json/json_object.h"
#include "launcherctl/history.h"
#include "launcherctl/output.h"

// The launchers, and one line an item; at most as many as a screen holds, unless `all`.
std::string HistoryTable(const History& history, const Output& out, bool all);

// One line of characters an item, as wide as the terminal.
std::string HistoryTimeline(const History& history, const Output& out, bool all);

// Each run of one item, the last 20 unless `all`.
std::string RunsOf(const HistoryItem& item, const History& history, bool all);

JsonObject HistoryToJson(const History& history);
