#include "launcherctl/clock_text.h"

#include <sys/time.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>

static constexpr int64_t kSecondMs = 1000;

// Rounded down, for times before 1970 as well.
static int64_t SecondsOf(int64_t time_ms) { return (time_ms - ((time_ms % kSecondMs) + kSecondMs) % kSecondMs) / 1000; }

static tm LocalTime(int64_t time_ms) {
  const time_t seconds = static_cast<time_t>(SecondsOf(time_ms));
  tm local = {};
  (void)localtime_r(&seconds, &local);
  return local;
}

int64_t NowMs() {
  timespec now = {};
  (void)clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

std::string Rfc3339(int64_t time_ms) {
  const tm local = LocalTime(time_ms);
  const long offset_minutes = labs(local.tm_gmtoff) / 60;
  char text[80];
  (void)snprintf(text, sizeof(text), "%04d-%02d-%02dT%02d:%02d:%02d.%03d%c%02ld:%02ld", local.tm_year + 1900,
                 local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                 static_cast<int>(time_ms - SecondsOf(time_ms) * kSecondMs), local.tm_gmtoff < 0 ? '-' : '+',
                 offset_minutes / 60, offset_minutes % 60);
  return text;
}

std::string ClockText(int64_t time_ms, int64_t now_ms) {
  static const char* const kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                        "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const tm time = LocalTime(time_ms);
  const tm now = LocalTime(now_ms);
  char text[80];
  (void)snprintf(text, sizeof(text), "%02d:%02d:%02d", time.tm_hour, time.tm_min, time.tm_sec);
  if (time.tm_year == now.tm_year && time.tm_yday == now.tm_yday) return text;
  std::string day = std::to_string(time.tm_mday) + " " + kMonths[time.tm_mon % 12] + " ";
  if (time.tm_year != now.tm_year) day += std::to_string(time.tm_year + 1900) + " ";
  return day + text;
}

std::string SpanText(int64_t span_ms) {
  if (span_ms < 0) span_ms = -span_ms;
  if (span_ms < kSecondMs) return std::to_string(span_ms) + " ms";
  const int64_t seconds = (span_ms + kSecondMs / 2) / kSecondMs;
  if (seconds < 60) return std::to_string(seconds) + " s";
  static const struct {
    int64_t seconds;
    const char* name;
    int64_t smaller;
    const char* smaller_name;
  } kUnits[] = {{86400, " d", 3600, " h"}, {3600, " h", 60, " min"}, {60, " min", 1, " s"}};
  for (const auto& unit : kUnits) {
    if (seconds < unit.seconds) continue;
    const int64_t rest = seconds % unit.seconds / unit.smaller;
    std::string text = std::to_string(seconds / unit.seconds) + unit.name;
    if (rest > 0) text += " " + std::to_string(rest) + unit.smaller_name;
    return text;
  }
  return "";
}

std::string ClockWithDistance(int64_t time_ms, int64_t now_ms) {
  const std::string clock = ClockText(time_ms, now_ms);
  const int64_t distance = time_ms - now_ms;
  if (distance > -kSecondMs / 2 && distance < kSecondMs / 2) return clock + ", now";
  const std::string span = SpanText(std::max(std::abs(distance), kSecondMs));
  return distance > 0 ? clock + ", in " + span : clock + ", " + span + " ago";
}
