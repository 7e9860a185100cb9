// Whole files in one call.
#pragma once

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

// Replaces what the file held. Throws when it can't be written.
[[maybe_unused]] static void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream file;
  file.exceptions(std::ios::failbit | std::ios::badbit);
  file.open(path, std::ios::binary);
  file << bytes;
  file.close();
}

// Empty when the file does not exist.
[[maybe_unused]] static std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// The complete lines of the file, without their line feeds.
[[maybe_unused]] static std::vector<std::string> ReadLines(const std::string& path) {
  std::vector<std::string> lines;
  const std::string text = ReadFile(path);
  for (size_t start = 0, end; (end = text.find('\n', start)) != std::string::npos; start = end + 1) {
    lines.push_back(text.substr(start, end - start));
  }
  return lines;
}
