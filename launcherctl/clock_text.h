// Times as people and programs read them: local clock time with the distance from now, and RFC 3339.
//
// A time is in milliseconds since 1970 UTC. The time zone is the machine's; nothing here is for several threads at
// once.
#pragma once

#include <cstdint>
#include <string>

// Now.
int64_t NowMs();

// "2026-11-21T09:31:08.250+01:00".
std::string Rfc3339(int64_t time_ms);

// "09:31:08", or "20 Nov 09:31:08" when that is another day than `now_ms`, with the year when it is another year.
std::string ClockText(int64_t time_ms, int64_t now_ms);

// A span to the two units that count: "6 s", "3 min 52 s", "2 h 30 min", "4 d 2 h"; "340 ms" below a second. Of a
// negative span the amount.
std::string SpanText(int64_t span_ms);

// "09:31:08, in 6 s" or "09:31:02, 3 min 5 s ago"; "now" within half a second.
std::string ClockWithDistance(int64_t time_ms, int64_t now_ms);
