#include "common/settings/profile.h"

#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>
#include <regex>
#include <vector>

#include "common/strings/split.h"
#include "common/strings/trim.h"

using File = std::unique_ptr<FILE, int (*)(FILE*)>;

static std::string ToLower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return text;
}

// Reads the next line, or the next 2047 bytes of a longer one, without the blanks at its ends. False at the end of the
// file, and only there: after a read error it reads again.
static bool ReadTrimmedLine(FILE* file, std::string& line) {
  char buffer[2048];
  while (feof(file) == 0) {
    memset(buffer, 0, sizeof(buffer));
    if (fgets(buffer, sizeof(buffer), file) == nullptr) continue;
    line = buffer;
    trim(line);
    return true;
  }
  return false;
}

static bool IsHeaderOf(const std::string& line, const std::string& lowered_section) {
  if (line.size() < 3 || line.front() != '[' || line.back() != ']') return false;
  std::string name = line.substr(1, line.size() - 2);
  return ToLower(trim(name)) == lowered_section;
}

static bool SkipToSection(FILE* file, const std::string& lowered_section) {
  std::string line;
  while (ReadTrimmedLine(file, line)) {
    if (IsHeaderOf(line, lowered_section)) return true;
  }
  return false;
}

// The value of the first line with this key before the section ends.
static std::optional<std::string> FindInSection(FILE* file, const std::string& lowered_key) {
  std::string line;
  while (ReadTrimmedLine(file, line)) {
    if (line.empty()) continue;
    if (line.front() == '[') return std::nullopt;
    const std::vector<std::string> pieces = split(line, std::regex("="));
    if (pieces.size() >= 2 && ToLower(pieces[0]) == lowered_key) return pieces[1];
  }
  return std::nullopt;
}

static std::optional<std::string> FindValue(std::string section, std::string key, const std::string& path) {
  trim(section);
  const File file(fopen(path.c_str(), "r"), &fclose);
  if (file == nullptr || !SkipToSection(file.get(), ToLower(std::move(section)))) return std::nullopt;
  return FindInSection(file.get(), ToLower(std::move(key)));
}

// Returns the number of bytes before the NUL, or 0 without touching the buffer when the text does not fit.
static uint64_t CopyIfItFits(const std::string& text, char* buffer, uint64_t size) {
  if (text.size() >= size) return 0;
  memcpy(buffer, text.c_str(), text.size() + 1);
  return text.size();
}

uint64_t GetPrivateProfileString(std::string section, std::string key, std::string fallback, char* buffer, int32_t size,
                                 std::string path) {
  if (buffer == nullptr || size == 0) return 0;
  const auto unsigned_size = static_cast<uint64_t>(int64_t{size});  // A negative size becomes a huge one.
  const std::optional<std::string> value = FindValue(std::move(section), std::move(key), path);
  if (value) {
    const uint64_t length = CopyIfItFits(*value, buffer, unsigned_size);
    if (length != 0) return length;
  }
  return CopyIfItFits(fallback, buffer, unsigned_size);
}

uint32_t GetPrivateProfileInt(std::string section, std::string key, uint32_t fallback, std::string path) {
  const std::optional<std::string> value = FindValue(std::move(section), std::move(key), path);
  if (!value) return fallback;
  // What `atoi` does on both platforms, without its undefined behaviour on numbers that are too large.
  constexpr int kDecimal = 10;
  return static_cast<uint32_t>(strtol(value->c_str(), nullptr, kDecimal));
}
