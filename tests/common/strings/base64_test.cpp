#include "common/strings/base64.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

static const unsigned char* BytesOf(const std::string& text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

static std::string Encode(const std::string& text) { return base64(BytesOf(text), text.size()); }

TEST(Base64, FillsTheLastGroupWithEqualsSigns) {
  const struct {
    std::string bytes;
    const char* expected;
  } rows[] = {
      {"a", "YT=="},
      {"ab", "YWI="},
      {"abc", "YWJj"},
      {"abcd", "YWJjZD=="},
      {"abcde", "YWJjZGU="},
      {"foobar", "Zm9vYmFy"},
      {std::string(1, '\0'), "AD=="},
      {std::string(2, '\0'), "AAA="},
      {std::string(3, '\0'), "AAAA"},
      {"\xFF", "/z=="},
      {"\xFF\xFF", "//8="},
      {"\xFF\xFF\xFF", "////"},
      {"\xFB\xEF\xBE", "++++"},
      {"=", "PT=="},
  };
  for (const auto& row : rows) EXPECT_EQ(Encode(row.bytes), row.expected) << "expected: " << row.expected;
}

TEST(Base64, IsNullWhenThereIsNothingToEncode) {
  const unsigned char byte = 'a';
  EXPECT_EQ(base64(nullptr, 1), nullptr);
  EXPECT_EQ(base64(&byte, 0), nullptr);
  EXPECT_EQ(base64(nullptr, 0), nullptr);
}

TEST(Base64, IsNullWhenNoMemoryCouldHoldTheText) {
  const unsigned char byte = 'a';
  for (const unsigned long length : {ULONG_MAX, ULONG_MAX - 1, ULONG_MAX - 2, ULONG_MAX / 4 * 3 + 3}) {
    EXPECT_EQ(base64(&byte, length), nullptr) << "length: " << length;
  }
}

// Takes six bits at a time out of one long row of bits, with '=' bytes behind the data.
static std::string EncodeBitByBit(const std::string& bytes) {
  std::string filled = bytes;
  while (filled.size() % 3 != 0) filled.push_back('=');
  std::string bits;
  for (const char c : filled) {
    for (int bit = 7; bit >= 0; --bit) bits.push_back((static_cast<unsigned char>(c) >> bit & 1) != 0 ? '1' : '0');
  }
  std::string text;
  for (size_t i = 0; i < bits.size(); i += 6) {
    const int index = std::stoi(bits.substr(i, 6), nullptr, 2);
    const char first = index < 26 ? 'A' : index < 52 ? 'a' - 26 : '0' - 52;
    text.push_back(index == 62 ? '+' : index == 63 ? '/' : static_cast<char>(first + index));
  }
  for (size_t i = 0; i < filled.size() - bytes.size(); ++i) text[text.size() - 1 - i] = '=';
  return text;
}

TEST(Base64, AgreesWithTakingSixBitsAtATime) {
  for (int first = 0; first < 256; ++first) {
    const std::string one(1, static_cast<char>(first));
    ASSERT_EQ(Encode(one), EncodeBitByBit(one));
    for (int second = 0; second < 256; second += 5) {
      const std::string two = one + static_cast<char>(second);
      ASSERT_EQ(Encode(two), EncodeBitByBit(two));
    }
  }
  std::mt19937 random(20240229);
  for (size_t length = 1; length <= 200; ++length) {
    std::string bytes;
    while (bytes.size() < length) bytes.push_back(static_cast<char>(random() & 0xFF));
    ASSERT_EQ(Encode(bytes), EncodeBitByBit(bytes)) << "length: " << length;
  }
}

TEST(Base64, ReadsNothingBehindTheData) {
  for (size_t length = 1; length <= 6; ++length) {
    const std::vector<unsigned char> exact(length, 'a');  // The address sanitizer watches its end.
    EXPECT_EQ(std::string(base64(exact.data(), length)).size(), (length + 2) / 3 * 4);
  }
}

// Whether the address sanitizer forbids to read a byte, as it does with freed blocks, which it hands out again only
// much later. Null in a program without it.
static int (*ByteIsForbidden())(const volatile void*) {
  return reinterpret_cast<int (*)(const volatile void*)>(dlsym(RTLD_DEFAULT, "__asan_address_is_poisoned"));
}

TEST(Base64, FreesThePreviousTextEvenWhenItFails) {
  const auto is_forbidden = ByteIsForbidden();
  if (is_forbidden == nullptr) GTEST_SKIP() << "needs the address sanitizer";
  const unsigned char byte = 'a';
  const struct {
    const char* what;
    const unsigned char* data;
    unsigned long length;
  } rows[] = {
      {"another text", &byte, 1},
      {"null data", nullptr, 1},
      {"no length", &byte, 0},
      {"more than memory holds", &byte, ULONG_MAX},
  };
  for (const auto& row : rows) {
    const char* previous = base64(BytesOf("foobar"), 6);
    ASSERT_FALSE(is_forbidden(previous)) << row.what;
    (void)base64(row.data, row.length);
    EXPECT_TRUE(is_forbidden(previous)) << row.what;
  }
}
