#include "common/strings/octal.h"

#include <cmath>

int octalToDecimal(int value) {
  int total = 0;
  for (int i = 0; value != 0; ++i) {
    const int digit = value % 10;  // Negative when the value is.
    value /= 10;
    // A double holds every such sum exactly.
    total = static_cast<int>(total + std::exp2(3 * i) * digit);
  }
  return total;
}
