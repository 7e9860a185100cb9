#include "launcherctl/binary_format.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using System = BinaryFormat::System;
using Strings = std::vector<std::string>;

static std::string LittleEndian(uint64_t number, size_t width) {
  std::string bytes;
  for (size_t i = 0; i < width; ++i) bytes.push_back(static_cast<char>(number >> (8 * i) & 0xFF));
  return bytes;
}

static std::string BigEndian(uint64_t number, size_t width) {
  const std::string bytes = LittleEndian(number, width);
  return {bytes.rbegin(), bytes.rend()};
}

// An ELF file's header with one entry in its table, which names the loader.
static std::string Elf64(uint64_t type, uint64_t machine, const std::string& loader) {
  std::string head = "\177ELF";
  head += std::string("\2\1\1", 3) + std::string(9, '\0');
  head += LittleEndian(type, 2) + LittleEndian(machine, 2) + LittleEndian(1, 4) + LittleEndian(0, 8);
  head += LittleEndian(64, 8) + LittleEndian(0, 8) + LittleEndian(0, 4) + LittleEndian(64, 2);
  head += LittleEndian(56, 2) + LittleEndian(1, 2) + std::string(6, '\0');
  head += LittleEndian(3, 4) + LittleEndian(0, 4) + LittleEndian(120, 8) + std::string(16, '\0');
  head += LittleEndian(loader.size() + 1, 8) + std::string(16, '\0');
  return head + loader + std::string(1, '\0');
}

TEST(ReadBinaryFormat, TellsAnElfFilesProcessorKindAndLoader) {
  const BinaryFormat program = ReadBinaryFormat(Elf64(3, 62, "/lib/loader"));
  EXPECT_EQ(program.system, System::kLinux);
  EXPECT_TRUE(program.is_program);
  EXPECT_EQ(program.processors, Strings{"x86_64"});
  EXPECT_EQ(program.loader, "/lib/loader");
  EXPECT_EQ(ReadBinaryFormat(Elf64(2, 183, "x")).processors, Strings{"arm64"});
  EXPECT_EQ(ReadBinaryFormat(Elf64(2, 243, "x")).processors, Strings{"processor 243"});
  EXPECT_FALSE(ReadBinaryFormat(Elf64(1, 62, "x")).is_program);
  EXPECT_FALSE(ReadBinaryFormat(Elf64(4, 62, "x")).is_program);
}

TEST(ReadBinaryFormat, NamesTheProcessorsOfOlderMachines) {
  const struct {
    uint64_t number;
    const char* elf;
    const char* mach;
  } rows[] = {
      {3, "i386", "processor 3"},  {7, "processor 7", "i386"},  {12, "processor 12", "arm"},
      {18, "processor 18", "ppc"}, {40, "arm", "processor 40"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(ReadBinaryFormat(Elf64(2, row.number, "x")).processors, Strings{row.elf}) << row.number;
    const std::string mach = LittleEndian(0xFEEDFACE, 4) + LittleEndian(row.number, 4) + LittleEndian(0, 4);
    EXPECT_EQ(ReadBinaryFormat(mach + LittleEndian(2, 4)).processors, Strings{row.mach}) << row.number;
  }
}

TEST(ReadBinaryFormat, TellsAMachFilesProcessorsAndKind) {
  const auto mach = [](uint64_t processor, uint64_t type) {
    return LittleEndian(0xFEEDFACF, 4) + LittleEndian(processor, 4) + LittleEndian(0, 4) + LittleEndian(type, 4);
  };
  const BinaryFormat program = ReadBinaryFormat(mach(0x0100000C, 2));
  EXPECT_EQ(program.system, System::kMacos);
  EXPECT_TRUE(program.is_program);
  EXPECT_EQ(program.processors, Strings{"arm64"});
  EXPECT_FALSE(ReadBinaryFormat(mach(0x01000007, 6)).is_program);

  const std::string universal = BigEndian(0xCAFEBABE, 4) + BigEndian(2, 4) + BigEndian(0x01000007, 4) +
                                std::string(16, '\0') + BigEndian(0x0100000C, 4) + std::string(16, '\0');
  EXPECT_EQ(ReadBinaryFormat(universal).processors, (Strings{"x86_64", "arm64"}));
}

TEST(ReadBinaryFormat, KnowsNothingOfWhatIsCutOffOrSomethingElse) {
  const std::string elf = Elf64(2, 62, "/lib/loader");
  for (size_t length = 0; length < elf.size(); ++length) {
    const BinaryFormat format = ReadBinaryFormat(elf.substr(0, length));
    EXPECT_EQ(format.system, length < 58 ? System::kUnknown : System::kLinux) << length;
    EXPECT_EQ(format.loader, "") << length;
  }
  for (const std::string& other : {std::string(), std::string("#!/bin/sh"), BigEndian(0xCAFEBABE, 4) + BigEndian(52, 4),
                                   BigEndian(0xCAFEBABE, 4) + BigEndian(2, 4), LittleEndian(0xFEEDFACF, 4)}) {
    EXPECT_EQ(ReadBinaryFormat(other).system, System::kUnknown) << other;
  }
}

TEST(ReadBinaryFormat, TakesAnyNumberInAHeader) {
  std::string head = Elf64(2, 62, "/lib/loader");
  for (size_t offset = 4; offset < head.size(); ++offset) {
    for (const char byte : {'\0', '\xFF', '\x7F'}) {
      std::string changed = head;
      changed[offset] = byte;
      EXPECT_LE(ReadBinaryFormat(changed).loader.size(), changed.size());
    }
  }
}
