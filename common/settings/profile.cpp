#include "common/settings/profile.h"

#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>

using File = std::unique_ptr<FILE, int (*)(FILE*)>;

static char LoweredByte(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

static bool IsSameName(std::string_view left, std::string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char a, char b) { return LoweredByte(a) == LoweredByte(b); });
}

static std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\n\v\f\r";
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  text.remove_suffix(text.size() - (text.find_last_not_of(kBlanks) + 1));  // npos + 1 is 0: nothing but blanks.
  return text;
}

// Reads a file line by line, or by 2047 bytes of a longer one, without the blanks at the ends of a line.
class LineReader {
 public:
  explicit LineReader(FILE* opened_file) : file(opened_file) {}

  // Makes the next line `line()`. False at the end of the file, and only there: after a read error it reads again.
  bool Next() {
    while (feof(file) == 0) {
      if (fgets(buffer, sizeof(buffer), file) == nullptr) continue;
      trimmed = Trimmed(buffer);
      return true;
    }
    return false;
  }

  // Lives until the next line is read.
  std::string_view line() const { return trimmed; }

 private:
  FILE* const file;
  char buffer[2048];
  std::string_view trimmed;
};

static bool IsHeaderOf(std::string_view line, std::string_view section) {
  if (line.size() < 3 || line.front() != '[' || line.back() != ']') return false;
  return IsSameName(Trimmed(line.substr(1, line.size() - 2)), section);
}

static bool SkipToSection(LineReader& reader, std::string_view section) {
  while (reader.Next()) {
    if (IsHeaderOf(reader.line(), section)) return true;
  }
  return false;
}

// The value of the first line with this key before the section ends.
static std::optional<std::string> FindInSection(LineReader& reader, std::string_view key) {
  while (reader.Next()) {
    const std::string_view line = reader.line();
    if (line.empty()) continue;
    if (line.front() == '[') return std::nullopt;
    const size_t equals = line.find('=');
    if (equals == std::string_view::npos || equals + 1 == line.size()) continue;
    if (!IsSameName(line.substr(0, equals), key)) continue;
    const std::string_view behind = line.substr(equals + 1);
    return std::string(behind.substr(0, behind.find('=')));
  }
  return std::nullopt;
}

static std::optional<std::string> FindValue(const std::string& section, const std::string& key,
                                            const std::string& path) {
  const File file(fopen(path.c_str(), "r"), &fclose);
  if (file == nullptr) return std::nullopt;
  LineReader reader(file.get());
  if (!SkipToSection(reader, Trimmed(section))) return std::nullopt;
  return FindInSection(reader, key);
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
  const std::optional<std::string> value = FindValue(section, key, path);
  if (value) {
    const uint64_t length = CopyIfItFits(*value, buffer, unsigned_size);
    if (length != 0) return length;
  }
  return CopyIfItFits(fallback, buffer, unsigned_size);
}

uint32_t GetPrivateProfileInt(std::string section, std::string key, uint32_t fallback, std::string path) {
  const std::optional<std::string> value = FindValue(section, key, path);
  if (!value) return fallback;
  // What `atoi` does on both platforms, without its undefined behaviour on numbers that are too large.
  constexpr int kDecimal = 10;
  return static_cast<uint32_t>(strtol(value->c_str(), nullptr, kDecimal));
}
