#include "common/strings/tokenize.h"

#include <cstddef>

template <typename String>
using Transform = std::function<String(String&)>;

template <typename String>
static void Store(std::vector<String>& tokens, String token, const Transform<String>& transform) {
  tokens.push_back(transform(token));
}

template <typename String>
static std::vector<String> TokensBetweenAnyOf(const String& text, const String& delimiters,
                                              const Transform<String>& transform) {
  std::vector<String> tokens;
  size_t start = text.find_first_not_of(delimiters);
  while (start != String::npos) {
    const size_t end = text.find_first_of(delimiters, start);
    Store(tokens, text.substr(start, end - start), transform);
    if (end == String::npos) break;
    start = text.find_first_not_of(delimiters, end);
  }
  return tokens;
}

template <typename String>
static std::vector<String> TokensEndedBy(const String& text, typename String::value_type delimiter,
                                         const Transform<String>& transform) {
  std::vector<String> tokens;
  size_t start = 0;
  while (start < text.size()) {
    const size_t end = text.find(delimiter, start);
    Store(tokens, text.substr(start, end - start), transform);
    if (end == String::npos) break;
    start = end + 1;
  }
  return tokens;
}

template <typename String>
static std::vector<String> TokensBetween(const String& text, const String& delimiter,
                                         const Transform<String>& transform) {
  std::vector<String> tokens;
  size_t start = 0;
  for (size_t end; (end = text.find(delimiter, start)) != String::npos; start = end + delimiter.size()) {
    Store(tokens, text.substr(start, end - start), transform);
  }
  Store(tokens, text.substr(start), transform);
  return tokens;
}

std::vector<std::string> split_delim(const std::string& text, const std::string& delimiters,
                                     std::function<std::string(std::string&)> transform) {
  return TokensBetweenAnyOf(text, delimiters, transform);
}

std::vector<std::wstring> split_delim(const std::wstring& text, const std::wstring& delimiters,
                                      std::function<std::wstring(std::wstring&)> transform) {
  return TokensBetweenAnyOf(text, delimiters, transform);
}

std::vector<std::string> tokenize(const std::string& text, char delimiter,
                                  std::function<std::string(std::string&)> transform) {
  return TokensEndedBy(text, delimiter, transform);
}

std::vector<std::wstring> tokenize(const std::wstring& text, wchar_t delimiter,
                                   std::function<std::wstring(std::wstring&)> transform) {
  return TokensEndedBy(text, delimiter, transform);
}

std::vector<std::string> tokenize(const std::string& text, std::string delimiter,
                                  std::function<std::string(std::string&)> transform) {
  return TokensBetween(text, delimiter, transform);
}

std::vector<std::wstring> tokenize(const std::wstring& text, std::wstring delimiter,
                                   std::function<std::wstring(std::wstring&)> transform) {
  return TokensBetween(text, delimiter, transform);
}
