// Finds out whether code leaves descriptors open.
#pragma once

#include <fcntl.h>
#include <unistd.h>

// Returns the descriptor that the next open file gets: the same before and after a call that closes what it opens.
inline int LowestFreeDescriptor() {
  const int descriptor = open("/dev/null", O_RDONLY);
  if (descriptor >= 0) (void)close(descriptor);
  return descriptor;
}
