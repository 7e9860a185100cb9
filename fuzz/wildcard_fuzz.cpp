// Wildcards beside the version that tries every way to share the name out, in both widths.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "common/strings/wildcard.h"
#include "fuzz/require.h"
#include "tests/common/strings/models/wildcard.h"
#include "tests/support/texts.h"

// The model's time grows exponentially with the wildcards.
static constexpr size_t kLongestExpression = 10;
static constexpr size_t kLongestName = 10;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider input(data, size);
  const bool ignore_case = input.ConsumeBool();
  const std::string expression = input.ConsumeRandomLengthString(kLongestExpression);
  const std::string name = input.ConsumeRandomLengthString(kLongestName);
  Require(IsNameInExpressionA(expression.c_str(), name.c_str(), ignore_case) ==
              ModelMatches(expression.c_str(), name.c_str(), ignore_case),
          "the narrow variant answers as the model does");
  const std::wstring wide_expression = Widen(expression);
  const std::wstring wide_name = Widen(name);
  Require(IsNameInExpression(wide_expression.c_str(), wide_name.c_str(), ignore_case) ==
              ModelMatches(wide_expression.c_str(), wide_name.c_str(), ignore_case),
          "the wide variant answers as the model does");
  return 0;
}
