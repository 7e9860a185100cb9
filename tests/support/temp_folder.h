// A folder that lives as long as the object.
#pragma once

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>
#include <string>

class TempFolder {
 public:
  TempFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "pellux-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed for " + pattern);
    folder = std::filesystem::canonical(pattern).string();
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  // Absolute, without symbolic links and without a '/' at its end.
  const std::string& path() const { return folder; }

 private:
  std::string folder;
};
