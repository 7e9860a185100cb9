// Puts the addresses into an image that are known only now: its own, moved to where it lies (rebase), and those of the
// symbols that it takes from others (bind). Linkers write both as operations or, for newer systems, as chains.
#pragma once

#include "tools/machorun/image.h"

// Every image of the program must be loaded, and this one's memory be writable. Nothing is bound lazily.
void ApplyFixups(const Image& image);

// Has every image but `image` use the functions that it lists in its section __interpose in place of others. All fixups
// must have been applied, and the images' memory still be writable.
void ApplyReplacements(const Image& image);
