#include "common/strings/split.h"

template <typename String, typename Regex>
static std::vector<String> PiecesBetweenMatches(const String& text, const Regex& separator) {
  using Iterator = std::regex_iterator<typename String::const_iterator>;
  std::vector<String> pieces;
  // Taken from the matches' ends, not from their prefixes: in libc++ a prefix lacks what the iterator stepped over
  // behind an empty match.
  auto end_of_previous = text.begin();
  for (Iterator match(text.begin(), text.end(), separator); match != Iterator(); ++match) {
    const auto& separator_found = (*match)[0];
    pieces.emplace_back(end_of_previous, separator_found.first);
    end_of_previous = separator_found.second;
  }
  if (pieces.empty() || end_of_previous != text.end()) pieces.emplace_back(end_of_previous, text.end());
  return pieces;
}

std::vector<std::string> split(const std::string& text, const std::regex& separator) {
  return PiecesBetweenMatches(text, separator);
}

std::vector<std::wstring> split(const std::wstring& text, const std::wregex& separator) {
  return PiecesBetweenMatches(text, separator);
}
