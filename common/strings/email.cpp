#include "common/strings/email.h"

#include <locale>

// The form without its groups is `\w+(\.\w*)?@\w+(\.\w+)+`, because '_' is itself a word character. These are the
// places in it; several at once are possible, because a locale may take an '@' for a letter, too.
static constexpr unsigned kStart = 1;
static constexpr unsigned kInLocalPart = 2;
static constexpr unsigned kBehindLocalDot = 4;
static constexpr unsigned kBehindAt = 8;
static constexpr unsigned kInFirstLabel = 16;
static constexpr unsigned kBehindDot = 32;
static constexpr unsigned kInFurtherLabel = 64;

bool is_email_valid(const std::string& text) {
  const std::locale locale;
  const auto& characters = std::use_facet<std::ctype<char>>(locale);
  unsigned places = kStart;
  for (const char c : text) {
    unsigned next = 0;
    if (c == '_' || characters.is(std::ctype_base::alnum, c)) {
      if ((places & (kStart | kInLocalPart)) != 0) next |= kInLocalPart;
      if ((places & kBehindLocalDot) != 0) next |= kBehindLocalDot;
      if ((places & (kBehindAt | kInFirstLabel)) != 0) next |= kInFirstLabel;
      if ((places & (kBehindDot | kInFurtherLabel)) != 0) next |= kInFurtherLabel;
    }
    if (c == '.') {
      if ((places & kInLocalPart) != 0) next |= kBehindLocalDot;
      if ((places & (kInFirstLabel | kInFurtherLabel)) != 0) next |= kBehindDot;
    }
    if (c == '@' && (places & (kInLocalPart | kBehindLocalDot)) != 0) next |= kBehindAt;
    if (next == 0) return false;
    places = next;
  }
  return (places & kInFurtherLabel) != 0;
}
