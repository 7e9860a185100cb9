#include "launcherctl/binary_format.h"

#include <optional>

using System = BinaryFormat::System;

namespace {

// Reads numbers at offsets; nothing behind the end.
class Bytes {
 public:
  Bytes(std::string_view head, bool big_endian) : bytes(head), is_big_endian(big_endian) {}

  std::optional<uint64_t> Number(uint64_t offset, size_t width) const {
    if (offset > bytes.size() || bytes.size() - offset < width) return std::nullopt;
    uint64_t number = 0;
    for (size_t i = 0; i < width; ++i) {
      const size_t index = is_big_endian ? i : width - 1 - i;
      number = number << 8U | static_cast<unsigned char>(bytes[offset + index]);
    }
    return number;
  }

 private:
  const std::string_view bytes;
  const bool is_big_endian;
};

}  // namespace

static bool StartsWith(std::string_view text, std::string_view start) { return text.substr(0, start.size()) == start; }

// --- ELF

static std::string ElfProcessor(uint64_t machine, bool is_64_bit) {
  switch (machine) {
    case 3:
      return "i386";
    case 40:
      return "arm";
    case 62:
      return is_64_bit ? "x86_64" : "x32";
    case 183:
      return "arm64";
    default:
      return "processor " + std::to_string(machine);
  }
}

static BinaryFormat ReadElf(std::string_view head) {
  constexpr uint64_t kExecutable = 2;
  constexpr uint64_t kShared = 3;  // A library, or a program that may be loaded anywhere.
  constexpr uint64_t kLoaderName = 3;
  if (head.size() < 52) return {};
  const bool is_64_bit = head[4] == 2;
  const Bytes bytes(head, head[5] == 2);
  const auto type = bytes.Number(16, 2);
  const auto machine = bytes.Number(18, 2);
  const auto table = is_64_bit ? bytes.Number(32, 8) : bytes.Number(28, 4);
  const auto entry_bytes = bytes.Number(is_64_bit ? 54 : 42, 2);
  const auto entries = bytes.Number(is_64_bit ? 56 : 44, 2);
  if (!type || !machine || !table || !entry_bytes || !entries) return {};

  BinaryFormat format;
  format.system = System::kLinux;
  format.is_program = *type == kExecutable || *type == kShared;
  format.processors.push_back(ElfProcessor(*machine, is_64_bit));
  for (uint64_t i = 0; i < *entries && *table <= head.size(); ++i) {
    const uint64_t entry = *table + i * *entry_bytes;
    const auto kind = bytes.Number(entry, 4);
    if (!kind) break;
    if (*kind != kLoaderName) continue;
    const auto offset = is_64_bit ? bytes.Number(entry + 8, 8) : bytes.Number(entry + 4, 4);
    const auto length = is_64_bit ? bytes.Number(entry + 32, 8) : bytes.Number(entry + 16, 4);
    if (offset && length && *offset <= head.size() && head.size() - *offset >= *length) {
      const std::string_view name = head.substr(*offset, *length);
      format.loader = name.substr(0, name.find('\0'));
    }
    break;
  }
  return format;
}

// --- Mach-O

static std::string MachProcessor(uint64_t type) {
  switch (type) {
    case 7:
      return "i386";
    case 12:
      return "arm";
    case 18:
      return "ppc";
    case 0x01000007:
      return "x86_64";
    case 0x0100000C:
      return "arm64";
    default:
      return "processor " + std::to_string(type);
  }
}

static BinaryFormat ReadMach(std::string_view head) {
  constexpr uint64_t kExecutable = 2;
  const Bytes bytes(head, false);
  const auto processor = bytes.Number(4, 4);
  const auto type = bytes.Number(12, 4);
  if (!processor || !type) return {};
  BinaryFormat format;
  format.system = System::kMacos;
  format.is_program = *type == kExecutable;
  format.processors.push_back(MachProcessor(*processor));
  return format;
}

// Several in one file. What they are is told by the parts, which lie far behind the head.
static BinaryFormat ReadUniversal(std::string_view head, bool is_64_bit) {
  constexpr uint64_t kMostParts = 32;  // A class file of Java begins with the same bytes and has a larger number here.
  const Bytes bytes(head, true);
  const auto parts = bytes.Number(4, 4);
  if (!parts || *parts == 0 || *parts > kMostParts) return {};
  BinaryFormat format;
  format.system = System::kMacos;
  format.is_program = true;
  for (uint64_t i = 0; i < *parts; ++i) {
    const auto processor = bytes.Number(8 + i * (is_64_bit ? 32 : 20), 4);
    if (!processor) return {};
    format.processors.push_back(MachProcessor(*processor));
  }
  return format;
}

BinaryFormat ReadBinaryFormat(std::string_view head) {
  using namespace std::string_view_literals;
  if (StartsWith(head, "\177ELF"sv)) return ReadElf(head);
  if (StartsWith(head, "\xCE\xFA\xED\xFE"sv) || StartsWith(head, "\xCF\xFA\xED\xFE"sv)) return ReadMach(head);
  if (StartsWith(head, "\xCA\xFE\xBA\xBE"sv)) return ReadUniversal(head, false);
  if (StartsWith(head, "\xCA\xFE\xBA\xBF"sv)) return ReadUniversal(head, true);
  if (StartsWith(head, "MZ"sv)) {
    BinaryFormat format;
    format.system = System::kWindows;
    format.is_program = true;
    return format;
  }
  return {};
}
