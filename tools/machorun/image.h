// Maps the x86_64 slice of a Mach-O file and what it depends on into this process and gets it ready to run.
//
// A file that is not as a linker for macOS writes it ends the process with a message on the standard error that names
// the file: nothing here is meant for files of strangers.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

// What lies at an address of this process. Images count in numbers, because files do.
template <typename Type>
Type* At(uint64_t address) {
  return reinterpret_cast<Type*>(address);  // NOLINT(performance-no-int-to-ptr)
}

template <typename Function>
Function FunctionAt(uint64_t address) {
  return reinterpret_cast<Function>(address);  // NOLINT(performance-no-int-to-ptr)
}

struct Segment {
  std::string name;
  uint64_t address;  // As the file says it, before the slide.
  uint64_t bytes;
  uint64_t file_offset;
  uint64_t file_bytes;
  int protection;
};

struct Section {
  std::string name;
  uint64_t address;
  uint64_t bytes;
  uint32_t type;
};

struct Image {
  std::string path;
  int64_t slide = 0;
  uint64_t base = 0;  // Where its header lies in memory.
  std::vector<Segment> segments;
  std::vector<Section> sections;
  std::vector<std::string> run_paths;
  std::vector<std::string> dependencies;  // As they are named, in the order of their ordinals.
  std::vector<const Image*> libraries;    // The same, loaded; null for the system's.
  std::map<std::string, uint64_t> exports;
  uint64_t entry = 0;

  // The contents of a table in __LINKEDIT.
  struct Range {
    uint64_t offset = 0;
    uint64_t bytes = 0;
  };
  Range rebase, bind, weak_bind, lazy_bind, export_trie, chained_fixups;

  uint64_t Loaded(uint64_t address) const { return address + static_cast<uint64_t>(slide); }
  const Section* Find(const std::string& section) const;
  const uint8_t* LinkEdit(const Range& range) const;
};

// Whether `path` is a Mach-O file of any kind, which the host's `execv` can't run.
bool IsMachO(const char* path);

// Loads the program at `path` and its libraries, binds every symbol, and registers what the unwinder and thread-local
// variables take. The result lives as long as the process.
const Image& LoadProgram(const std::string& path);

// The images in the order in which they were loaded, the program first.
const std::vector<Image*>& Images();

// Runs the initialisers of all images, libraries before those that use them, with main's arguments.
void RunInitializers(int argc, char** argv, char** environment);

// The address of `symbol` (with its underscore) in the first image that exports it, or null.
void* FindExport(const std::string& symbol);
