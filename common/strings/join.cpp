#include "common/strings/join.h"

#include <cstddef>
#include <stdexcept>

std::string join(const std::vector<std::string>& items, std::string separator) {
  // Not left to `items.at`: the text of its exception is not the same in every standard library.
  if (items.empty()) throw std::out_of_range("join: no items");
  std::string joined;
  for (size_t i = 0; i + 1 < items.size(); ++i) {
    joined += items[i];
    joined += separator;
  }
  joined += items.back();
  return joined;
}
