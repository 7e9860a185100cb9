// Recognises programs by their first bytes: ELF and Mach-O, for which system and which processors.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct BinaryFormat {
  enum class System { kUnknown, kLinux, kMacos, kWindows };
  System system = System::kUnknown;  // kLinux stands for every system that uses ELF.
  bool is_program = false;           // False for libraries, object files and memory images that can be told apart.
  // "x86_64", "i386", "arm64", "arm", or "processor 243". Several for a Mach-O file that holds several programs.
  std::vector<std::string> processors;
  std::string loader;  // The program, in an ELF file, that the system starts to load it; empty for none.
};

// How many of a file's first bytes `ReadBinaryFormat` wants.
static constexpr size_t kHeadBytes = 4096;

// Reads the format from a file's first bytes. What is cut off or contradicts itself is kUnknown. Pure; safe to call
// from any thread.
BinaryFormat ReadBinaryFormat(std::string_view head);
