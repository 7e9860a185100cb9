// Tests how a text ends.
#pragma once

#include <string>

// Returns whether `text` ends with `suffix`, character for character. Every text ends with the empty suffix.
// Pure, and safe to call from any thread and between `fork` and `execv`.
//
//   ends_with("a.txt", ".txt")  // true
bool ends_with(const std::string& text, const std::string& suffix);
bool ends_with(const std::wstring& text, const std::wstring& suffix);
