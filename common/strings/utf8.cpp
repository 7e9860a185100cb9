#include "common/strings/utf8.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stdexcept>

// The standard library's own converter is not used, because its implementations disagree: libstdc++ has other
// messages, silently drops a sequence that is cut off at the end and accepts surrogates, and libc++ marks it
// deprecated. The messages are those that callers know from it.

static constexpr uint32_t kLargestCodePoint = 0x10FFFF;

// Converted characters go into a text by as many at a time; a converter that appends one by one spends most of its time
// on that.
static constexpr size_t kAtATime = 256;

static bool IsCodePoint(uint32_t value) { return value <= kLargestCodePoint && (value < 0xD800 || value > 0xDFFF); }

// Decodes the sequence of several bytes at `bytes`, which is not the end, and returns the end of it.
static const unsigned char* DecodeSequence(const unsigned char* bytes, const unsigned char* end, wchar_t& character) {
  const uint32_t first = bytes[0];
  const auto has = [bytes, end](int continuations) {
    bool all = end - bytes > continuations;
    for (int i = 1; all && i <= continuations; ++i) all = (bytes[i] & 0xC0) == 0x80;
    return all;
  };
  uint32_t code_point = 0;
  int length = 0;
  // A form that is longer than the code point needs leads to none.
  if ((first & 0xE0) == 0xC0 && has(1)) {
    code_point = (first & 0x1F) << 6 | (bytes[1] & 0x3F);
    if (code_point >= 0x80) length = 2;
  } else if ((first & 0xF0) == 0xE0 && has(2)) {
    code_point = (first & 0x0F) << 12 | (bytes[1] & 0x3FU) << 6 | (bytes[2] & 0x3F);
    if (code_point >= 0x800) length = 3;
  } else if ((first & 0xF8) == 0xF0 && has(3)) {
    code_point = (first & 0x07) << 18 | (bytes[1] & 0x3FU) << 12 | (bytes[2] & 0x3FU) << 6 | (bytes[3] & 0x3F);
    if (code_point >= 0x10000) length = 4;
  }
  if (length == 0 || !IsCodePoint(code_point)) throw std::range_error("wstring_convert: from_bytes error");
  character = static_cast<wchar_t>(code_point);
  return bytes + length;
}

// Writes the character's bytes, at most four, and returns the end of what it wrote.
static char* Encode(wchar_t character, char* out) {
  // NOLINTNEXTLINE(bugprone-signed-char-misuse): a wchar_t is no char, and a negative one is refused below.
  const auto code_point = static_cast<uint32_t>(character);
  const auto append = [&out](uint32_t byte) { *out++ = static_cast<char>(byte); };
  if (code_point < 0x80) {
    append(code_point);
    return out;
  }
  if (!IsCodePoint(code_point)) throw std::range_error("wstring_convert: to_bytes error");
  if (code_point < 0x800) {
    append(0xC0 | code_point >> 6);
  } else {
    if (code_point < 0x10000) {
      append(0xE0 | code_point >> 12);
    } else {
      append(0xF0 | code_point >> 18);
      append(0x80 | (code_point >> 12 & 0x3F));
    }
    append(0x80 | (code_point >> 6 & 0x3F));
  }
  append(0x80 | (code_point & 0x3F));
  return out;
}

std::wstring s2ws(const std::string& text) {
  std::wstring wide(text.size(), L'\0');  // No text has more characters than bytes.
  wchar_t* out = wide.data();
  const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
  const auto* const end = bytes + text.size();
  while (bytes != end) {
    if (*bytes < 0x80) {
      *out++ = static_cast<wchar_t>(*bytes++);
    } else {
      bytes = DecodeSequence(bytes, end, *out++);
    }
  }
  wide.resize(static_cast<size_t>(out - wide.data()));
  return wide;
}

std::string ws2s(const std::wstring& text) {
  std::string bytes;
  char converted[4 * kAtATime];
  for (size_t pos = 0; pos < text.size();) {
    char* out = converted;
    const size_t stop = std::min(text.size(), pos + kAtATime);
    for (; pos < stop; ++pos) out = Encode(text[pos], out);
    bytes.append(converted, static_cast<size_t>(out - converted));
  }
  return bytes;
}

std::string wchar2utf8(const wchar_t* text) { return ws2s(text); }
