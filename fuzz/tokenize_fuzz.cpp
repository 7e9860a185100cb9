// The three ways to cut texts into tokens beside their literal versions.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "common/strings/tokenize.h"
#include "fuzz/require.h"
#include "tests/common/strings/models/tokenize.h"

static constexpr size_t kMostDelimiters = 8;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider input(data, size);
  const std::string delimiters = input.ConsumeRandomLengthString(kMostDelimiters);
  const std::string text = input.ConsumeRemainingBytesAsString();
  const auto in_brackets = [](std::string& token) { return '<' + token + '>'; };
  Require(split_delim(text, delimiters, in_brackets) == ModelSplitDelim<std::string>(text, delimiters, in_brackets),
          "split_delim gives what its model gives");
  if (delimiters.empty()) return 0;  // tokenize would not return.
  Require(tokenize(text, delimiters, in_brackets) == ModelTokenizeAtText<std::string>(text, delimiters, in_brackets),
          "tokenize with a text gives what its model gives");
  Require(tokenize(text, delimiters[0], in_brackets) ==
              ModelTokenizeAtCharacter<std::string>(text, delimiters[0], in_brackets),
          "tokenize with a character gives what its model gives");
  return 0;
}
