#include "common/strings/octal.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <string>

TEST(OctalToDecimal, ReadsDecimalDigitsAsOctalOnes) {
  const struct {
    int value;
    int expected;
  } rows[] = {
      {17, 15},
      {777, 511},
      {10, 8},
      {0, 0},
      {7, 7},
      {644, 0644},
      {-17, -15},
      {-777, -511},
      // 8 and 9 are weighted like the others.
      {8, 8},
      {9, 9},
      {19, 17},
      {80, 64},
      {99, 81},
      // Nine and ten digits.
      {777777777, 0777777777},
      {999999999, 9 * 0111111111},
      {1000000000, 01000000000},
      {1777777777, 01777777777},
      {1999999999, 01000000000 + 9 * 0111111111},
      {-1999999999, -01000000000 - 9 * 0111111111},
  };
  for (const auto& row : rows) EXPECT_EQ(octalToDecimal(row.value), row.expected) << "value: " << row.value;
}

// Reads the digits as a person does, from the left and in whole numbers.
static int64_t ReadFromTheLeft(int value) {
  const std::string digits = std::to_string(std::abs(static_cast<int64_t>(value)));
  int64_t total = 0;
  for (const char digit : digits) total = total * 8 + (digit - '0');
  return value < 0 ? -total : total;
}

TEST(OctalToDecimal, AgreesWithReadingFromTheLeft) {
  for (int value = -20000; value <= 20000; ++value) {
    ASSERT_EQ(octalToDecimal(value), ReadFromTheLeft(value)) << "value: " << value;
  }
  for (int64_t value = INT_MIN; value <= INT_MAX; value += 86243) {
    ASSERT_EQ(octalToDecimal(static_cast<int>(value)), ReadFromTheLeft(static_cast<int>(value))) << "value: " << value;
  }
  for (const int value : {INT_MIN, INT_MIN + 1, INT_MAX - 1, INT_MAX}) {
    EXPECT_EQ(octalToDecimal(value), ReadFromTheLeft(value)) << "value: " << value;
  }
}
