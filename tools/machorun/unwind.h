// Lets exceptions pass through an image: translates its compact unwind information to the DWARF form that the host's
// unwinder reads.
#pragma once

#include "tools/machorun/image.h"

void RegisterUnwindInformation(const Image& image);
