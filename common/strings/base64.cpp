#include "common/strings/base64.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

static constexpr char g_character_for_base64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

static constexpr unsigned char kFiller = '=';

// Writes four characters for each three bytes and returns the end of what it wrote.
static char* EncodeGroups(const unsigned char* bytes, size_t groups, char* out) {
  for (; groups > 0; --groups, bytes += 3) {
    *out++ = g_character_for_base64[bytes[0] >> 2];
    *out++ = g_character_for_base64[((bytes[0] << 4) & 0x30) | (bytes[1] >> 4)];
    *out++ = g_character_for_base64[((bytes[1] & 0x0F) << 2) | (bytes[2] >> 6)];
    *out++ = g_character_for_base64[bytes[2] & 0x3F];
  }
  return out;
}

char* base64(const unsigned char* data, unsigned long length) {
  static char* qq = nullptr;
  free(qq);
  qq = nullptr;
  if (data == nullptr || length == 0) return nullptr;

  const size_t missing = (3 - length % 3) % 3;
  const size_t groups = length / 3 + (missing > 0 ? 1 : 0);
  if (groups > (SIZE_MAX - 2) / 4) return nullptr;

  unsigned char* filled = nullptr;
  if (missing > 0) {
    filled = static_cast<unsigned char*>(malloc(length + missing));
    if (filled == nullptr) return nullptr;
    memcpy(filled, data, length);
    memset(filled + length, kFiller, missing);
    data = filled;
  }
  qq = static_cast<char*>(malloc(groups * 4 + 2));
  if (qq != nullptr) {
    char* end = EncodeGroups(data, groups, qq);
    memset(end - missing, '=', missing);
    *end = '\0';
  }
  free(filled);
  return qq;
}
