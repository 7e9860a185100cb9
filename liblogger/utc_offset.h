// The local time's offset from UTC, to be asked for without a lock.
#pragma once

#include <cstddef>
#include <ctime>

// A table of the offset's changes, from one year before a moment to forty years after it. Made once, with the C
// library's time-zone functions; these take a lock, so what is asked for later is read from the table.
//
// Two changes within one week may be missed. Before the table's first moment and after its last one the nearest offset
// holds. A new time zone of the machine is seen by the next process.
class UtcOffsets {
 public:
  // Fills the table around `now`. Not while another thread asks, and not in a child that was forked while another
  // thread ran.
  void Learn(time_t now);

  // Returns the seconds that local time is ahead of UTC at `when`. Takes no lock; safe after `fork`.
  long At(time_t when) const;

 private:
  struct Change {
    time_t when;
    long seconds;
  };
  // Twice what the zones with the most changes have, which are four a year.
  static constexpr size_t kMostChanges = 320;
  Change changes[kMostChanges] = {};
  size_t count = 0;
};
