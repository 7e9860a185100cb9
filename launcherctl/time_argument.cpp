#include "launcherctl/time_argument.h"

#include <cstdio>
#include <cstring>
#include <ctime>

static constexpr int64_t kSecondMs = 1000;

static tm LocalTime(int64_t time_ms) {
  const time_t seconds = static_cast<time_t>(time_ms / kSecondMs);
  tm local = {};
  (void)localtime_r(&seconds, &local);
  return local;
}

// `local` as local time, whether daylight saving is in force then or not.
static int64_t MomentOf(tm local) {
  local.tm_isdst = -1;
  return static_cast<int64_t>(mktime(&local)) * kSecondMs;
}

static int64_t FirstMomentOfDay(int64_t now_ms, int days_before) {
  tm local = LocalTime(now_ms);
  local.tm_mday -= days_before;
  local.tm_hour = local.tm_min = local.tm_sec = 0;
  return MomentOf(local);
}

static std::optional<int64_t> ReadDuration(const std::string& text, int64_t now_ms) {
  long long count = 0;
  char unit = 0;
  int consumed = 0;
  if (sscanf(text.c_str(), "%9lld%c%n", &count, &unit, &consumed) != 2) return std::nullopt;
  if (static_cast<size_t>(consumed) != text.size() || text[0] == '-' || text[0] == '+') return std::nullopt;
  static constexpr char kUnits[] = "smhd";
  static constexpr int64_t kSeconds[] = {1, 60, 3600, 86400};
  const char* const found = strchr(kUnits, unit);
  if (found == nullptr) return std::nullopt;
  return now_ms - count * kSeconds[found - kUnits] * kSecondMs;
}

static bool IsTimeOfDay(int hour, int minute, int second) {
  return hour >= 0 && hour < 24 && minute >= 0 && minute < 60 && second >= 0 && second < 61;
}

static std::optional<int64_t> ReadTimeOfDay(const std::string& text, int64_t now_ms) {
  tm local = LocalTime(now_ms);
  int consumed = 0;
  local.tm_sec = 0;
  const bool has_seconds =
      sscanf(text.c_str(), "%2d:%2d:%2d%n", &local.tm_hour, &local.tm_min, &local.tm_sec, &consumed) == 3;
  if (!has_seconds && sscanf(text.c_str(), "%2d:%2d%n", &local.tm_hour, &local.tm_min, &consumed) != 2) {
    return std::nullopt;
  }
  if (!has_seconds) local.tm_sec = 0;
  if (static_cast<size_t>(consumed) != text.size()) return std::nullopt;
  if (!IsTimeOfDay(local.tm_hour, local.tm_min, local.tm_sec)) return std::nullopt;
  const int64_t today_ms = MomentOf(local);
  if (today_ms <= now_ms) return today_ms;
  --local.tm_mday;
  return MomentOf(local);
}

// What is behind the time: nothing for local time, "Z" or an offset.
static bool ReadOffset(const char* text, std::optional<int64_t>& offset_seconds) {
  if (*text == '\0') return true;
  if ((*text == 'Z' || *text == 'z') && text[1] == '\0') {
    offset_seconds = 0;
    return true;
  }
  int hours = 0;
  int minutes = 0;
  int consumed = 0;
  if ((*text != '+' && *text != '-') || sscanf(text + 1, "%2d:%2d%n", &hours, &minutes, &consumed) != 2) return false;
  if (text[1 + consumed] != '\0' || hours > 23 || minutes > 59) return false;
  offset_seconds = (*text == '-' ? -1 : 1) * (int64_t{hours} * 3600 + int64_t{minutes} * 60);
  return true;
}

static std::optional<int64_t> ReadDate(const std::string& text) {
  tm local = {};
  int consumed = 0;
  if (sscanf(text.c_str(), "%4d-%2d-%2d%n", &local.tm_year, &local.tm_mon, &local.tm_mday, &consumed) != 3) {
    return std::nullopt;
  }
  if (local.tm_mon < 1 || local.tm_mon > 12 || local.tm_mday < 1 || local.tm_mday > 31) return std::nullopt;
  local.tm_year -= 1900;
  local.tm_mon -= 1;
  const char* at = text.c_str() + consumed;
  if (*at == '\0') return MomentOf(local);
  if (*at != 'T' && *at != 't' && *at != ' ') return std::nullopt;
  ++at;
  if (sscanf(at, "%2d:%2d%n", &local.tm_hour, &local.tm_min, &consumed) != 2) return std::nullopt;
  at += consumed;
  if (sscanf(at, ":%2d%n", &local.tm_sec, &consumed) == 1) at += consumed;
  if (!IsTimeOfDay(local.tm_hour, local.tm_min, local.tm_sec)) return std::nullopt;
  if (*at == '.') at += 1 + strspn(at + 1, "0123456789");
  std::optional<int64_t> offset_seconds;
  if (!ReadOffset(at, offset_seconds)) return std::nullopt;
  if (!offset_seconds) return MomentOf(local);
  return (static_cast<int64_t>(timegm(&local)) - *offset_seconds) * kSecondMs;
}

std::optional<int64_t> ReadTimeArgument(const std::string& text, int64_t now_ms) {
  if (text == "today") return FirstMomentOfDay(now_ms, 0);
  if (text == "yesterday") return FirstMomentOfDay(now_ms, 1);
  if (const auto time = ReadDuration(text, now_ms)) return time;
  if (const auto time = ReadTimeOfDay(text, now_ms)) return time;
  return ReadDate(text);
}
