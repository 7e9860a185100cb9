#include "common/strings/email.h"

#include <cstddef>
#include <regex>

// The standard libraries' matchers recurse or give up on long texts: one overflows the stack at some ten thousand
// characters and needs time that grows with the cube, the other throws `error_complexity`. Up to this length, which
// no real address exceeds, both are quick; what is longer is scanned by hand for the same language.
static constexpr size_t kLongestForTheMatcher = 254;

// Matches `\w+(\.\w*)?@\w+(\.\w+)+`, which is the expression below without its groups: since '_' is itself a word
// character, only a '.' can be told apart in the local part.
static bool IsEmailByScan(const std::string& text) {
  const std::regex_traits<char> traits;
  static constexpr char kWordClass[] = "w";
  const auto word_class = traits.lookup_classname(kWordClass, kWordClass + 1);
  size_t pos = 0;
  const auto skip_word = [&] {
    const size_t start = pos;
    while (pos < text.size() && traits.isctype(text[pos], word_class)) ++pos;
    return pos > start;
  };
  const auto skip = [&](char wanted) {
    if (pos == text.size() || text[pos] != wanted) return false;
    ++pos;
    return true;
  };

  if (!skip_word()) return false;
  if (skip('.')) skip_word();
  if (!skip('@') || !skip_word()) return false;
  size_t further_labels = 0;
  for (; skip('.'); ++further_labels) {
    if (!skip_word()) return false;
  }
  return further_labels > 0 && pos == text.size();
}

bool is_email_valid(const std::string& text) {
  const std::regex form(R"((\w+)(\.|_)?(\w*)@(\w+)(\.(\w+))+)");
  if (text.size() > kLongestForTheMatcher) return IsEmailByScan(text);
  return std::regex_match(text, form);
}
