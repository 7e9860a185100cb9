// Texts to work on, the same in every run.
#pragma once

#include <cstddef>
#include <random>
#include <string>
#include <vector>

// Returns a text of `length` characters, picked from `alphabet`.
[[maybe_unused]] static std::string RandomText(size_t length, const std::string& alphabet, unsigned seed) {
  std::mt19937 random(seed);
  std::string text;
  while (text.size() < length) text.push_back(alphabet[random() % alphabet.size()]);
  return text;
}

// Returns `count` texts of `length` lower-case letters each.
[[maybe_unused]] static std::vector<std::string> RandomWords(size_t count, size_t length) {
  std::vector<std::string> words;
  for (unsigned seed = 0; words.size() < count; ++seed) {
    words.push_back(RandomText(length, "abcdefghijklmnopqrstuvwxyz", seed));
  }
  return words;
}

// Returns `part`, `count` times.
[[maybe_unused]] static std::string Repeated(size_t count, const std::string& part) {
  std::string text;
  for (size_t i = 0; i < count; ++i) text += part;
  return text;
}
