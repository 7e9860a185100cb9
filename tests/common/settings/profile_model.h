// How the INI reader works, said literally: every line is copied, trimmed and cut by the expression "=". The reader
// itself looks at the line where it lies.
#pragma once

#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <regex>
#include <string>
#include <vector>

#include "common/strings/split.h"
#include "common/strings/trim.h"

class LiteralProfile {
 public:
  static uint64_t String(std::string section, std::string key, const std::string& fallback, char* buffer, int32_t size,
                         const std::string& path) {
    if (buffer == nullptr || size == 0) return 0;
    const auto unsigned_size = static_cast<uint64_t>(int64_t{size});
    const std::optional<std::string> value = FindValue(section, key, path);
    if (value) {
      const uint64_t length = CopyIfItFits(*value, buffer, unsigned_size);
      if (length != 0) return length;
    }
    return CopyIfItFits(fallback, buffer, unsigned_size);
  }

  static uint32_t Int(const std::string& section, const std::string& key, uint32_t fallback, const std::string& path) {
    const std::optional<std::string> value = FindValue(section, key, path);
    if (!value) return fallback;
    return static_cast<uint32_t>(strtol(value->c_str(), nullptr, 10));
  }

 private:
  static std::string ToLower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return text;
  }

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

  static std::optional<std::string> FindInSection(FILE* file, const std::string& lowered_key) {
    static const std::regex equals("=");
    std::string line;
    while (ReadTrimmedLine(file, line)) {
      if (line.empty()) continue;
      if (line.front() == '[') return std::nullopt;
      const std::vector<std::string> pieces = split(line, equals);
      if (pieces.size() >= 2 && ToLower(pieces[0]) == lowered_key) return pieces[1];
    }
    return std::nullopt;
  }

  static std::optional<std::string> FindValue(std::string section, const std::string& key, const std::string& path) {
    trim(section);
    const std::unique_ptr<FILE, int (*)(FILE*)> file(fopen(path.c_str(), "r"), &fclose);
    if (file == nullptr || !SkipToSection(file.get(), ToLower(section))) return std::nullopt;
    return FindInSection(file.get(), ToLower(key));
  }

  static uint64_t CopyIfItFits(const std::string& text, char* buffer, uint64_t size) {
    if (text.size() >= size) return 0;
    memcpy(buffer, text.c_str(), text.size() + 1);
    return text.size();
  }
};
