#include "liblogger/utc_offset.h"

#include <algorithm>

static constexpr time_t kDaySeconds = 86400;
static constexpr time_t kWeekSeconds = 7 * kDaySeconds;
static constexpr time_t kYearSeconds = 365 * kDaySeconds;

static long AskSystem(time_t when) {
  tm local = {};
  return localtime_r(&when, &local) != nullptr ? local.tm_gmtoff : 0;
}

// The first second with the offset of `after`, which differs from the offset of `before`.
static time_t FindChange(time_t before, time_t after) {
  const long offset_after = AskSystem(after);
  while (after - before > 1) {
    const time_t middle = before + (after - before) / 2;
    (AskSystem(middle) == offset_after ? after : before) = middle;
  }
  return after;
}

void UtcOffsets::Learn(time_t now) {
  tzset();  // `localtime_r` need not look at the environment's time zone.
  const time_t first = now - kYearSeconds;
  const time_t last = now + 40 * kYearSeconds;
  changes[0] = {first, AskSystem(first)};
  count = 1;
  for (time_t when = first; when < last && count < kMostChanges; when += kWeekSeconds) {
    const long next_offset = AskSystem(when + kWeekSeconds);
    if (next_offset == changes[count - 1].seconds) continue;
    changes[count++] = {FindChange(when, when + kWeekSeconds), next_offset};
  }
}

long UtcOffsets::At(time_t when) const {
  const Change* const next = std::upper_bound(changes, changes + count, when,
                                              [](time_t moment, const Change& change) { return moment < change.when; });
  return next == changes ? changes[0].seconds : next[-1].seconds;
}
