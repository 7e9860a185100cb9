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
  const auto is_blank = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
  auto end = text.end();
  while (end != text.begin() && is_blank(end[-1])) --end;
  text.erase(end, text.end());
  auto start = text.begin();
  while (start != text.end() && is_blank(*start)) ++start;
  text.erase(text.begin(), start);
  return text;
}
