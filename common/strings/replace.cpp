#include "common/strings/replace.h"

#include <cstddef>

template <typename String>
static void ReplaceAll(String& text, const String& from, const String& to) {
  // Steps over the searched text, not the replacement: the tail of a longer `to` is searched again. Behind a shorter
  // one the position may lie past the end, where nothing is found.
  for (size_t pos = 0; (pos = text.find(from, pos)) != String::npos; pos += from.size()) {
    text.replace(pos, from.size(), to);
  }
}

void replace_all(std::string& text, const std::string& from, const std::string& to) { ReplaceAll(text, from, to); }

void replace_all(std::wstring& text, const std::wstring& from, const std::wstring& to) { ReplaceAll(text, from, to); }
