#include "common/strings/suffix.h"

template <typename String>
static bool EndsWith(const String& text, const String& suffix) {
  return text.size() >= suffix.size() && text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

bool ends_with(const std::string& text, const std::string& suffix) { return EndsWith(text, suffix); }

bool ends_with(const std::wstring& text, const std::wstring& suffix) { return EndsWith(text, suffix); }
