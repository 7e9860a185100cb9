// The three ways to cut texts into tokens, told literally.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

template <typename String>
using ModelTransform = std::function<String(String&)>;

template <typename String>
void ModelStore(std::vector<String>& tokens, String token, const ModelTransform<String>& transform) {
  tokens.push_back(transform(token));
}

template <typename String>
std::vector<String> ModelSplitDelim(const String& text, const String& delimiters,
                                    const ModelTransform<String>& transform) {
  std::vector<String> tokens;
  size_t start = text.find_first_not_of(delimiters);
  while (start != String::npos) {
    const size_t end = text.find_first_of(delimiters, start);
    ModelStore(tokens, text.substr(start, end - start), transform);
    if (end == String::npos) break;
    start = text.find_first_not_of(delimiters, end);
  }
  return tokens;
}

template <typename String>
std::vector<String> ModelTokenizeAtCharacter(const String& text, typename String::value_type delimiter,
                                             const ModelTransform<String>& transform) {
  std::vector<String> tokens;
  size_t start = 0;
  while (start < text.size()) {
    const size_t end = text.find(delimiter, start);
    ModelStore(tokens, text.substr(start, end - start), transform);
    if (end == String::npos) break;
    start = end + 1;
  }
  return tokens;
}

template <typename String>
std::vector<String> ModelTokenizeAtText(const String& text, const String& delimiter,
                                        const ModelTransform<String>& transform) {
  std::vector<String> tokens;
  size_t start = 0;
  for (size_t end; (end = text.find(delimiter, start)) != String::npos; start = end + delimiter.size()) {
    ModelStore(tokens, text.substr(start, end - start), transform);
  }
  ModelStore(tokens, text.substr(start), transform);
  return tokens;
}
