// Strips blanks from both ends of a text. The function has internal linkage: every file that includes this header
// has a copy of its own.
#pragma once

#include <string>

// Removes blanks (space, \t, \n, \v, \f, \r) from the end and then from the start of `text`, in place, and returns
// `text` itself, so that the result may be assigned back to it. Allocates nothing. Bytes from 0x80 up are never
// blanks; a text of nothing but blanks becomes empty.
//
// Safe to call from any thread on texts of its own, and between `fork` and `execv`.
//
//   std::string line = "  value\r\n";
//   trim(line);  // line is "value"
[[maybe_unused]] static std::string& trim(std::string& text) {
  static constexpr const char* kBlanks = " \t\n\v\f\r";
  text.erase(text.find_last_not_of(kBlanks) + 1);  // npos + 1 is 0: nothing but blanks.
  text.erase(0, text.find_first_not_of(kBlanks));
  return text;
}
