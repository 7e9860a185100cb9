// The local time's offset from UTC, to be asked for without a lock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <memory>

#include "liblogger/zone_rule.h"

// The changes of the offset, as the system's file of the time zone has them, and the rule that the file gives for the
// time after the last one. Read once; the C library's own time-zone functions take a lock. A new time zone of the
// machine is seen by the next process.
class UtcOffsets {
 public:
  // Reads the time zone that the variable TZ names, or else the machine's, and asks the C library whether it reads the
  // same. If not, its offset at `now` holds for ever. Not while another thread asks, and not in a child that was forked
  // while another thread ran.
  void Learn(time_t now);

  // Reads a time zone's file (TZif, RFC 8536). Returns false, and holds nothing usable, if it is not one.
  bool ReadFile(const char* bytes, size_t size);

  // Returns the seconds that local time is ahead of UTC at `when`. Takes no lock; safe after `fork`.
  long At(time_t when) const;

 private:
  struct Change {
    int64_t when;
    long seconds;  // The offset from then on.
  };

  bool ReadZone();
  bool ReadPath(const char* path);
  bool AgreesWithSystem(time_t now) const;

  long seconds_before = 0;  // The offset before the first change.
  std::unique_ptr<Change[]> changes;
  size_t count = 0;
  bool has_rule = false;
  ZoneRule rule;  // Holds after the last change.
};
