// Texts by the thousand, for tests that compare a function with its model.
#pragma once

#include <cstddef>
#include <random>
#include <string>

// Calls `use` with every text of up to `longest` characters of `alphabet`, the empty one included.
template <typename Use>
void ForEachText(const std::string& alphabet, size_t longest, Use use) {
  std::string text;
  const auto use_and_extend = [&](const auto& again) -> void {
    use(static_cast<const std::string&>(text));
    if (text.size() == longest) return;
    for (const char c : alphabet) {
      text.push_back(c);
      again(again);
      text.pop_back();
    }
  };
  use_and_extend(use_and_extend);
}

// Returns up to `longest` characters, picked from `alphabet`.
inline std::string RandomText(std::mt19937& random, const std::string& alphabet, size_t longest) {
  std::string text;
  for (size_t length = random() % (longest + 1); text.size() < length;) {
    text.push_back(alphabet[random() % alphabet.size()]);
  }
  return text;
}

// One wide character for each byte.
inline std::wstring Widen(const std::string& text) { return {text.begin(), text.end()}; }
