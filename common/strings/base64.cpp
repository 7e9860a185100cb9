#include "common/strings/base64.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

static constexpr char g_character_for_base64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

static constexpr unsigned char kFiller = '=';

// The two characters for each twelve bits: half the look-ups of a table of single ones.
struct CharacterPairs {
  static constexpr size_t kCharacters = 64;
  char pairs[kCharacters * kCharacters][2] = {};

  constexpr CharacterPairs() {
    for (size_t i = 0; i < kCharacters * kCharacters; ++i) {
      pairs[i][0] = g_character_for_base64[i / kCharacters];
      pairs[i][1] = g_character_for_base64[i % kCharacters];
    }
  }
};
static constexpr CharacterPairs kForTwelveBits;

// Writes four characters for each three bytes and returns the end of what it wrote.
static char* EncodeGroups(const unsigned char* bytes, size_t groups, char* out) {
  for (; groups > 0; --groups, bytes += 3, out += 4) {
    const uint32_t bits = uint32_t{bytes[0]} << 16 | uint32_t{bytes[1]} << 8 | bytes[2];
    const char* first = kForTwelveBits.pairs[bits >> 12];
    const char* second = kForTwelveBits.pairs[bits & 0xFFF];
    out[0] = first[0];
    out[1] = first[1];
    out[2] = second[0];
    out[3] = second[1];
  }
  return out;
}

char* base64(const unsigned char* data, unsigned long length) {
  static char* qq = nullptr;
  free(qq);
  qq = nullptr;
  if (data == nullptr || length == 0) return nullptr;

  const size_t groups = length / 3;
  const size_t left = length % 3;
  const size_t all_groups = groups + (left > 0 ? 1 : 0);
  if (all_groups > (SIZE_MAX - 2) / 4) return nullptr;
  qq = static_cast<char*>(malloc(all_groups * 4 + 2));
  if (qq == nullptr) return nullptr;
  char* end = EncodeGroups(data, groups, qq);
  if (left > 0) {
    const unsigned char* rest = data + 3 * groups;
    const unsigned char last[] = {rest[0], left == 2 ? rest[1] : kFiller, kFiller};
    end = EncodeGroups(last, 1, end);
    if (left == 1) end[-2] = '=';
    end[-1] = '=';
  }
  *end = '\0';
  return qq;
}
