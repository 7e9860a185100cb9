// Replacing, told literally; quadratic.
#pragma once

#include <cstddef>

// Returns whether it comes to an end within `most` replacements; otherwise `text` holds that many.
template <typename String>
bool ModelReplaceAll(String& text, const String& from, const String& to, size_t most) {
  for (size_t pos = 0; (pos = text.find(from, pos)) != String::npos; pos += from.size()) {
    if (most-- == 0) return false;
    text.replace(pos, from.size(), to);
  }
  return true;
}
