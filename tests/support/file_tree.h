// A folder of a test's own that is filled by relative paths.
#pragma once

#include <filesystem>
#include <string>

#include "tests/support/files.h"
#include "tests/support/temp_folder.h"

// A new, empty folder for temporary files, removed with everything in it when the object goes.
//
//   FileTree tree;
//   const std::string path = tree.WriteFile("settings/log.ini", "[LOG]\nLEVEL=DEBUG\n");
class FileTree {
 public:
  // The folder's path: absolute, without symbolic links and without a '/' at its end.
  const std::string& path() const { return folder.path(); }

  // The path of `name` in the folder. Creates nothing.
  std::string PathOf(const std::string& name) const { return path() + "/" + name; }

  // Creates the folder `name`, with its parents, and returns its path.
  std::string MakeFolder(const std::string& name) const {
    std::filesystem::create_directories(PathOf(name));
    return PathOf(name);
  }

  // Writes a file of exactly these bytes, creates its parents, and returns its path. Throws when it can't be written.
  std::string WriteFile(const std::string& name, const std::string& bytes) const {
    const std::string file_path = PathOf(name);
    std::filesystem::create_directories(std::filesystem::path(file_path).parent_path());
    ::WriteFile(file_path, bytes);
    return file_path;
  }

 private:
  TempFolder folder;
};
