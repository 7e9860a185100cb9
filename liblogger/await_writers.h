// Tells a torn record from one that is being written.
#pragma once

// Returns when nobody is any more in the middle of a `write` to `file` that was under way at the call; where a platform
// has no means for that, after two milliseconds. Whoever writes next waits for the same, so this costs no time of its
// own. Takes no lock that outlives it, allocates nothing; safe after `fork`.
void AwaitWriters(int file);
