#include "common/strings/url.h"

#include <gtest/gtest.h>

#include <cstdio>

TEST(UrlEncode, EncodesWhatAUrlCannotHold) {
  const struct {
    const char* text;
    const char* expected;
    const char* expected_with_slash;
  } rows[] = {
      {"", "", ""},
      {"a b/c~", "a%20b/c~", "a%20b%2Fc~"},
      {"/", "/", "%2F"},
      {"//a//", "//a//", "%2F%2Fa%2F%2F"},
      {"a+b", "a%2Bb", "a%2Bb"},
      {"100%", "100%25", "100%25"},
      {"%2F", "%252F", "%252F"},
      {"\xC3\xA9", "%C3%A9", "%C3%A9"},
      {"\x80\xFF", "%80%FF", "%80%FF"},
      {"\x01\n\x7F", "%01%0A%7F", "%01%0A%7F"},
      {"a\\b", "a%5Cb", "a%5Cb"},
      {"?k=v&w=x#y", "%3Fk%3Dv%26w%3Dx%23y", "%3Fk%3Dv%26w%3Dx%23y"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(URLEncode(row.text, false), row.expected) << "text: " << row.text;
    EXPECT_EQ(URLEncode(row.text, true), row.expected_with_slash) << "text: " << row.text;
  }
}

TEST(UrlEncode, KeepsOnlyUnreservedBytesOfAllThereAre) {
  const std::string unreserved = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
  for (int byte = 1; byte < 256; ++byte) {
    const std::string text(1, static_cast<char>(byte));
    char in_hex[sizeof("%XX")];
    (void)snprintf(in_hex, sizeof(in_hex), "%%%02X", static_cast<unsigned>(byte) & 0xFFU);
    const std::string encoded = unreserved.find(text) != std::string::npos ? text : in_hex;
    EXPECT_EQ(URLEncode(text.c_str(), true), encoded) << "byte: " << byte;
    EXPECT_EQ(URLEncode(text.c_str(), false), text == "/" ? text : encoded) << "byte: " << byte;
  }
}

TEST(UrlEncode, HasNoLimitOfLength) {
  const size_t megabyte = 1000000;
  const std::string encoded = URLEncode(std::string(megabyte, ' ').c_str(), false);
  ASSERT_EQ(encoded.size(), 3 * megabyte);
  EXPECT_EQ(encoded.substr(encoded.size() - 3), "%20");
}
