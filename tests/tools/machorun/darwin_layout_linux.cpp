// This system's side of what machorun translates.

#include "tests/tools/machorun/same_numbers.h"
