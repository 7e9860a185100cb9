#include "launcherctl/escape.h"

#include <algorithm>
#include <cstdint>

static unsigned char ByteAt(std::string_view text, size_t index) { return static_cast<unsigned char>(text[index]); }

static bool IsBetween(uint32_t value, uint32_t low, uint32_t high) { return value >= low && value <= high; }

size_t CharacterBytes(std::string_view text) {
  const unsigned char lead = ByteAt(text, 0);
  if (lead < 0x80) return 1;
  if (lead < 0xC2 || lead > 0xF4) return 0;
  const size_t wanted = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  if (text.size() < wanted) return 0;
  // The second byte's range excludes overlong forms, surrogates and what lies above U+10FFFF.
  const uint32_t low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  const uint32_t high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  if (!IsBetween(ByteAt(text, 1), low, high)) return 0;
  for (size_t i = 2; i < wanted; ++i) {
    if (!IsBetween(ByteAt(text, i), 0x80, 0xBF)) return 0;
  }
  return wanted;
}

static uint32_t CodePoint(std::string_view character) {
  if (character.size() == 1) return ByteAt(character, 0);
  // Of the lead byte, the bits behind its length.
  uint32_t code_point = ByteAt(character, 0) & (0x7FU >> character.size());
  for (size_t i = 1; i < character.size(); ++i) code_point = code_point << 6 | (ByteAt(character, i) & 0x3FU);
  return code_point;
}

bool IsHidden(std::string_view character) {
  const uint32_t code_point = CodePoint(character);
  return code_point < 0x20 || IsBetween(code_point, 0x7F, 0x9F) || code_point == 0x061C ||
         IsBetween(code_point, 0x200E, 0x200F) || IsBetween(code_point, 0x2028, 0x202E) ||
         IsBetween(code_point, 0x2066, 0x2069);
}

static void AppendEscape(char byte, std::string& out) {
  static constexpr char kHexDigits[] = "0123456789ABCDEF";
  const auto value = static_cast<unsigned char>(byte);
  out += "\\x";
  out += kHexDigits[value >> 4];
  out += kHexDigits[value & 0x0F];
}

std::string ShownText(std::string_view text) {
  std::string shown;
  shown.reserve(text.size());
  while (!text.empty()) {
    const size_t bytes = CharacterBytes(text);
    const std::string_view character = text.substr(0, bytes > 0 ? bytes : 1);
    text.remove_prefix(character.size());
    if (bytes > 0 && !IsHidden(character)) {
      shown += character;
    } else if (character == "\n") {
      shown += "\\n";
    } else if (character == "\t") {
      shown += "\\t";
    } else if (character == "\r") {
      shown += "\\r";
    } else {
      for (const char byte : character) AppendEscape(byte, shown);
    }
  }
  return shown;
}

std::string Quoted(std::string_view text) { return '"' + ShownText(text) + '"'; }

std::string Shortened(std::string_view text) {
  constexpr size_t kMostShownBytes = 80;
  if (text.size() <= kMostShownBytes) return std::string(text);
  size_t shown = 0;
  for (;;) {
    const size_t bytes = std::max<size_t>(CharacterBytes(text.substr(shown)), 1);
    if (shown + bytes > kMostShownBytes) break;
    shown += bytes;
  }
  return std::string(text.substr(0, shown)) + "...";
}

std::string JsonText(std::string_view text) {
  std::string whole;
  whole.reserve(text.size());
  while (!text.empty()) {
    const size_t bytes = CharacterBytes(text);
    if (bytes > 0) {
      whole += text.substr(0, bytes);
      text.remove_prefix(bytes);
    } else {
      AppendEscape(text[0], whole);
      text.remove_prefix(1);
    }
  }
  return whole;
}

bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    const size_t bytes = CharacterBytes(text);
    if (bytes == 0) return false;
    text.remove_prefix(bytes);
  }
  return true;
}

size_t CountCharacters(std::string_view text) {
  size_t count = 0;
  for (; !text.empty(); ++count) {
    const size_t bytes = CharacterBytes(text);
    text.remove_prefix(bytes > 0 ? bytes : 1);
  }
  return count;
}
