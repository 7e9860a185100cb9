#include "launcherctl/nearest.h"

#include <algorithm>
#include <cstddef>

// Without what doesn't count.
static std::string Bare(std::string_view word) {
  std::string bare;
  for (const char c : word) {
    if (c == '-' || c == '_' || c == ' ') continue;
    bare.push_back(c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c);
  }
  return bare;
}

// How many letters have to be changed, put in, left out or exchanged with their neighbour to make `b` of `a`.
static size_t Distance(const std::string& a, const std::string& b) {
  const size_t width = b.size() + 1;
  std::vector<size_t> before_last(width);
  std::vector<size_t> last(width);
  std::vector<size_t> row(width);
  for (size_t j = 0; j < width; ++j) last[j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    row[0] = i;
    for (size_t j = 1; j < width; ++j) {
      const size_t changed = last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      row[j] = std::min({changed, last[j] + 1, row[j - 1] + 1});
      const bool are_exchanged = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (are_exchanged) row[j] = std::min(row[j], before_last[j - 2] + 1);
    }
    before_last.swap(last);
    last.swap(row);
  }
  return last.back();
}

std::string NearestOf(std::string_view word, const std::vector<std::string>& candidates) {
  // What is longer was not mistyped, and takes long to compare.
  constexpr size_t kLongestWord = 200;
  if (word.size() > kLongestWord) return {};
  const std::string bare = Bare(word);
  std::string nearest;
  size_t least = std::max<size_t>(bare.size() / 3, bare.size() > 2 ? 1 : 0) + 1;
  for (const std::string& candidate : candidates) {
    if (candidate.size() > kLongestWord) continue;
    const size_t distance = Distance(bare, Bare(candidate));
    if (distance >= least) continue;
    least = distance;
    nearest = candidate;
  }
  return nearest;
}
