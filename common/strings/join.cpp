#include "common/strings/join.h"

#include <cstddef>

std::string join(const std::vector<std::string>& items, std::string separator) {
  const std::string& last = items.at(items.size() - 1);  // Without items the index wraps, and `at` throws.
  std::string joined;
  for (size_t i = 0; i + 1 < items.size(); ++i) {
    joined += items[i];
    joined += separator;
  }
  joined += last;
  return joined;
}
