#include "common/strings/url.h"

// The classification of <cctype> follows the locale, and a URL does not.
static bool IsUnreserved(char c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-' || c == '.' ||
         c == '_' || c == '~';
}

std::string URLEncode(const char* text, bool encode_slash) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string encoded;
  for (; *text != '\0'; ++text) {
    if (IsUnreserved(*text) || (*text == '/' && !encode_slash)) {
      encoded.push_back(*text);
      continue;
    }
    const auto byte = static_cast<unsigned char>(*text);
    encoded.push_back('%');
    encoded.push_back(kDigits[byte >> 4]);
    encoded.push_back(kDigits[byte & 0x0F]);
  }
  return encoded;
}
