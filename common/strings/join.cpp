#include "common/strings/join.h"

#include <cstddef>
#include <stdexcept>

static char* Append(char* end, const std::string& text) { return end + text.copy(end, text.size()); }

std::string join(const std::vector<std::string>& items, std::string separator) {
  // Not left to `items.at`: the text of its exception is not the same in every standard library.
  if (items.empty()) throw std::out_of_range("join: no items");
  size_t bytes = (items.size() - 1) * separator.size();
  for (const std::string& item : items) bytes += item.size();

  std::string joined(bytes, '\0');
  char* end = Append(joined.data(), items[0]);
  for (size_t i = 1; i < items.size(); ++i) end = Append(Append(end, separator), items[i]);
  return joined;
}
