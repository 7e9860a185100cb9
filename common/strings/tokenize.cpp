#include "common/strings/tokenize.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <utility>

template <typename String>
using Transform = std::function<String(String&)>;

// Takes the tokens of one text, and one after the other through the transform, into the vector.
template <typename String>
class Tokens {
 public:
  Tokens(const String& whole, const Transform<String>& each) : text(whole), transform(each) {}

  // The characters from `start` up to `end`, or up to the end of the text.
  void Take(size_t start, size_t end) {
    token.assign(text, start, end - start);
    if (taken.empty()) taken.reserve(kFewTokens);
    taken.push_back(transform(token));
  }

  std::vector<String> taken;

 private:
  static constexpr size_t kFewTokens = 16;

  const String& text;
  const Transform<String>& transform;
  String token;  // One for all, so that long ones do not allocate memory twice.
};

// Says of each character whether it is one of a set.
template <typename String>
class CharacterSet;

template <>
class CharacterSet<std::string> {
 public:
  explicit CharacterSet(const std::string& members) {
    for (const char c : members) is_member[static_cast<unsigned char>(c)] = true;
  }
  bool Has(char c) const { return is_member[static_cast<unsigned char>(c)]; }

 private:
  bool is_member[UCHAR_MAX + 1] = {};
};

template <>
class CharacterSet<std::wstring> {
 public:
  explicit CharacterSet(const std::wstring& those) : members(those) {}
  bool Has(wchar_t c) const { return members.find(c) != std::wstring::npos; }

 private:
  const std::wstring& members;
};

template <typename String>
static std::vector<String> TokensBetweenAnyOf(const String& text, const String& delimiters,
                                              const Transform<String>& transform) {
  const CharacterSet<String> delimiter(delimiters);
  Tokens<String> tokens(text, transform);
  for (size_t end = 0;;) {
    size_t start = end;
    while (start < text.size() && delimiter.Has(text[start])) ++start;
    if (start == text.size()) return std::move(tokens.taken);
    end = start + 1;
    while (end < text.size() && !delimiter.Has(text[end])) ++end;
    tokens.Take(start, end);
  }
}

template <typename String>
static std::vector<String> TokensEndedBy(const String& text, typename String::value_type delimiter,
                                         const Transform<String>& transform) {
  Tokens<String> tokens(text, transform);
  for (size_t start = 0; start < text.size();) {
    const size_t end = std::min(text.find(delimiter, start), text.size());
    tokens.Take(start, end);
    start = end + 1;
  }
  return std::move(tokens.taken);
}

template <typename String>
static std::vector<String> TokensBetween(const String& text, const String& delimiter,
                                         const Transform<String>& transform) {
  Tokens<String> tokens(text, transform);
  size_t start = 0;
  for (size_t end; (end = text.find(delimiter, start)) != String::npos; start = end + delimiter.size()) {
    tokens.Take(start, end);
  }
  tokens.Take(start, text.size());
  return std::move(tokens.taken);
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
