// Puts another file behind a descriptor number.
#pragma once

// Makes `number`, which is open, refer to the file of `descriptor`, close-on-exec. Threads that write to `number`
// meanwhile reach the one file or the other. Returns whether that worked; `number` is unchanged if not.
bool ReplaceDescriptor(int descriptor, int number);
