// UTF-8 in both directions, told one character after the other.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

constexpr uint32_t kModelLargestCodePoint = 0x10FFFF;

inline bool ModelIsSurrogate(uint32_t code_point) { return code_point >= 0xD800 && code_point <= 0xDFFF; }

inline bool ModelIsContinuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

inline std::range_error ModelMalformed() { return std::range_error("wstring_convert: from_bytes error"); }

// Decodes the sequence that starts at `pos`, which is below the size of `text`, and steps over it.
inline wchar_t ModelDecodeOne(const std::string& text, size_t& pos) {
  const auto first = static_cast<unsigned char>(text[pos++]);
  if (first < 0x80) return static_cast<wchar_t>(first);

  int continuations;
  uint32_t smallest;  // What the sequence's length is needed for; anything below it is overlong.
  uint32_t code_point;
  if ((first & 0xE0) == 0xC0) {
    continuations = 1;
    smallest = 0x80;
    code_point = first & 0x1FU;
  } else if ((first & 0xF0) == 0xE0) {
    continuations = 2;
    smallest = 0x800;
    code_point = first & 0x0FU;
  } else if ((first & 0xF8) == 0xF0) {
    continuations = 3;
    smallest = 0x10000;
    code_point = first & 0x07U;
  } else {
    throw ModelMalformed();
  }
  for (; continuations > 0; --continuations) {
    if (pos == text.size()) throw ModelMalformed();
    const auto next = static_cast<unsigned char>(text[pos++]);
    if (!ModelIsContinuation(next)) throw ModelMalformed();
    code_point = code_point << 6 | (next & 0x3FU);
  }
  if (code_point < smallest || code_point > kModelLargestCodePoint || ModelIsSurrogate(code_point))
    throw ModelMalformed();
  return static_cast<wchar_t>(code_point);
}

inline void ModelAppendEncoded(std::string& bytes, wchar_t character) {
  const auto code_point = static_cast<uint32_t>(character);
  const auto append = [&bytes](uint32_t byte) { bytes.push_back(static_cast<char>(byte)); };
  if (code_point > kModelLargestCodePoint || ModelIsSurrogate(code_point)) {
    throw std::range_error("wstring_convert: to_bytes error");
  }
  if (code_point < 0x80) {
    append(code_point);
    return;
  }
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
}

inline std::wstring ModelS2ws(const std::string& text) {
  std::wstring wide;
  for (size_t pos = 0; pos < text.size();) wide.push_back(ModelDecodeOne(text, pos));
  return wide;
}

inline std::string ModelWs2s(const std::wstring& text) {
  std::string bytes;
  for (const wchar_t character : text) ModelAppendEncoded(bytes, character);
  return bytes;
}
