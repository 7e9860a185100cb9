// Reads numbers that were written down in octal.
#pragma once

// Returns what the decimal digits of `value` mean as octal digits: 777, a file mode as people write it, gives 511.
//
// The sign stays: -17 gives -15. The digits 8 and 9 are not refused but weighted like the others, so that 19 gives
// 8 + 9 = 17. Every `int` has a result; none overflows. Pure, and safe to call from any thread and between `fork` and
// `execv`.
int octalToDecimal(int value);
