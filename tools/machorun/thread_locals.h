// Gives an image its thread-local variables, made on each thread's first use of one.
#pragma once

#include "tools/machorun/image.h"

void RegisterThreadLocals(const Image& image);
