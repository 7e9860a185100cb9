// Whole files in one call.
#pragma once

#include <fstream>
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
  // In large pieces: byte by byte takes minutes with a sanitizer where a file is some megabytes long.
  std::ifstream file(path, std::ios::binary);
  std::string bytes;
  char piece[65536];
  while (file.read(piece, sizeof(piece)) || file.gcount() > 0) bytes.append(piece, static_cast<size_t>(file.gcount()));
  return bytes;
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
