// Gives a test a folder of its own.
#pragma once

#include <stdlib.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

// A new, empty folder below the system's folder for temporary files, removed with everything in it when the object
// goes. Its path is absolute and free of symbolic links, so that it may be compared with what the system reports.
//
//   TempFolder folder;
//   const std::string path = folder.WriteFile("settings/log.ini", "[LOG]\nLEVEL=DEBUG\n");
class TempFolder {
 public:
  // Throws std::system_error when there can be no folder.
  TempFolder() {
    std::string name = std::filesystem::canonical(std::filesystem::temp_directory_path()) / "pellux-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) throw std::system_error(errno, std::generic_category(), name);
    folder = name;
  }
  ~TempFolder() {
    std::error_code ignored;  // What can't be removed stays; a destructor has nobody to tell.
    (void)std::filesystem::remove_all(folder, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  // The folder's path, without a trailing '/'.
  const std::string& Path() const { return folder; }

  // The path of `name` in the folder. Creates nothing.
  std::string PathOf(const std::string& name) const { return folder + "/" + name; }

  // Creates the folder `name`, with its parents, and returns its path.
  std::string MakeFolder(const std::string& name) const {
    std::filesystem::create_directories(PathOf(name));
    return PathOf(name);
  }

  // Writes a file of exactly these bytes, creates its parents, and returns its path. Throws when it can't be written.
  std::string WriteFile(const std::string& name, const std::string& bytes) const {
    const std::string path = PathOf(name);
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream file;
    file.exceptions(std::ios::failbit | std::ios::badbit);
    file.open(path, std::ios::binary);
    file << bytes;
    file.close();
    return path;
  }

 private:
  std::string folder;
};
