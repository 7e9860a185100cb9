// replace_all beside the literal loop, wherever that comes to an end.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "common/strings/replace.h"
#include "fuzz/require.h"
#include "tests/common/strings/models/replace.h"

static constexpr size_t kLongestPart = 8;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider input(data, size);
  const std::string from = input.ConsumeRandomLengthString(kLongestPart);
  const std::string to = input.ConsumeRandomLengthString(kLongestPart);
  const std::string text = input.ConsumeRemainingBytesAsString();
  std::string expected = text;
  if (!ModelReplaceAll(expected, from, to, 2 * text.size() + 2)) return 0;
  std::string actual = text;
  replace_all(actual, from, to);
  Require(actual == expected, "the text is what the literal loop makes of it");
  return 0;
}
