// Glues texts together.
#pragma once

#include <string>
#include <vector>

// Returns the items in order, with `separator` between each two of them; a single item comes back as it is.
//
// Throws std::out_of_range("join: no items") when there are none: nothing is not the same as one empty item. Safe to
// call from any thread.
//
//   join({"a", "b", "c"}, ", ")  // "a, b, c"
std::string join(const std::vector<std::string>& items, std::string separator);
