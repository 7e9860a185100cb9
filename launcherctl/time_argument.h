// Reads times and durations as people type them behind --since.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

// Returns the time that `text` names, in milliseconds since 1970 UTC, or nothing if it names none:
//   "90s", "15m", "3h", "2d"        so long before `now_ms`
//   "02:00", "02:00:30"             the last time that the clock showed this
//   "today", "yesterday"            its first moment
//   "2026-11-21T02:00:00+01:00"     RFC 3339; without the seconds or the offset, too: local time then
//   "2026-11-21"                    that day's first moment
// Local times are of the machine's time zone. Not for several threads at once.
std::optional<int64_t> ReadTimeArgument(const std::string& text, int64_t now_ms);
