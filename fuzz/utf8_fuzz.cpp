// The conversions between UTF-8 and wide text beside the version that goes character by character.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>

#include "common/strings/utf8.h"
#include "fuzz/require.h"
#include "tests/common/strings/models/utf8.h"

// What a conversion gives: its result, or the message that it fails with.
template <typename Result>
struct Outcome {
  Result result;
  std::string failure;
  bool operator==(const Outcome& other) const { return result == other.result && failure == other.failure; }
};

template <typename Result, typename Text>
static Outcome<Result> OutcomeOf(Result (*convert)(const Text&), const Text& text) {
  try {
    return {convert(text), ""};
  } catch (const std::range_error& error) {
    return {Result(), error.what()};
  }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  const auto wide = OutcomeOf(s2ws, bytes);
  Require(wide == OutcomeOf(ModelS2ws, bytes), "s2ws does what the model does");
  if (wide.failure.empty()) Require(ws2s(wide.result) == bytes, "the way back leads to the same bytes");

  std::wstring characters(size / sizeof(wchar_t), L'\0');
  memcpy(characters.data(), data, characters.size() * sizeof(wchar_t));
  Require(OutcomeOf(ws2s, characters) == OutcomeOf(ModelWs2s, characters), "ws2s does what the model does");
  return 0;
}
