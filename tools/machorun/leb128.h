// Reads the numbers of variable length that the tables of Mach-O and DWARF consist of.
#pragma once

#include <cstdint>

// Both move `at` behind the number. Bits beyond the 64th are dropped.
inline uint64_t ReadUleb(const uint8_t*& at) {
  uint64_t value = 0;
  for (unsigned shift = 0;; shift += 7) {
    const uint8_t byte = *at++;
    if (shift < 64) value |= static_cast<uint64_t>(byte & 0x7f) << shift;
    if ((byte & 0x80) == 0) return value;
  }
}

inline int64_t ReadSleb(const uint8_t*& at) {
  uint64_t value = 0;
  unsigned shift = 0;
  uint8_t byte;
  do {
    byte = *at++;
    if (shift < 64) value |= static_cast<uint64_t>(byte & 0x7f) << shift;
    shift += 7;
  } while ((byte & 0x80) != 0);
  if ((byte & 0x40) != 0 && shift < 64) value |= ~uint64_t{0} << shift;
  return static_cast<int64_t>(value);
}
