#include "common/strings/split.h"

template <typename String, typename Regex>
static std::vector<String> PiecesBetweenMatches(const String& text, const Regex& separator) {
  using Iterator = std::regex_token_iterator<typename String::const_iterator>;
  constexpr int kBetweenMatches = -1;
  return {Iterator(text.begin(), text.end(), separator, kBetweenMatches), Iterator()};
}

std::vector<std::string> split(const std::string& text, const std::regex& separator) {
  return PiecesBetweenMatches(text, separator);
}

std::vector<std::wstring> split(const std::wstring& text, const std::wregex& separator) {
  return PiecesBetweenMatches(text, separator);
}
