#include "common/strings/path_string.h"

#include <algorithm>
#include <cstddef>

static constexpr char kDivider = '/';
static constexpr const char* kSlashes = "/\\";

std::string ensure_ends_with_divider(std::string path) {
  if (path.empty() || path.back() != kDivider) path += kDivider;
  return path;
}

std::string remove_head_slashes(std::string path) {
  const size_t first = path.find_first_not_of(kSlashes);
  if (first != std::string::npos) path.erase(0, first);
  return path;
}

std::string remove_tail_slashes(std::string path) {
  const size_t last = path.find_last_not_of(kSlashes);
  if (last != std::string::npos) path.erase(last + 1);
  return path;
}

std::string remove_duplicated_slashes(std::string path) {
  const auto both_divide = [](char a, char b) { return a == kDivider && b == kDivider; };
  path.erase(std::unique(path.begin(), path.end(), both_divide), path.end());
  return path;
}

void split_container_name(std::string path, std::string& container, std::string& rest) {
  if (path.empty()) return;
  path = remove_head_slashes(path);
  const size_t divider = path.find(kDivider);
  container = path.substr(0, divider);
  rest = divider == std::string::npos ? "" : path.substr(divider + 1);
}

std::string get_file_name(std::string path) {
  return path.substr(path.rfind(kDivider) + 1);  // npos + 1 is 0: the whole path.
}

bool IsQZFS(wchar_t*) { return true; }

bool IsQZFS(char*) { return true; }
