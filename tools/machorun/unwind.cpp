#include "tools/machorun/unwind.h"

#include <string.h>

#include <map>
#include <string>
#include <vector>

#include "tools/machorun/failure.h"
#include "tools/machorun/leb128.h"

// The host's unwinder reads what it is handed here until the process ends.
extern "C" void __register_frame(void* frames);

// --- DWARF, as far as it is written here

static constexpr uint8_t kDefineCfa = 0x0c, kOffset = 0x80;
static constexpr uint8_t kRbp = 6, kRsp = 7, kReturnAddress = 16;
static constexpr uint8_t kFactorMinusEight = 0x78;  // A signed LEB128.

using Bytes = std::vector<uint8_t>;

static void Append(Bytes& bytes, uint8_t value) { bytes.push_back(value); }

template <typename Number>
static void AppendNumber(Bytes& bytes, Number number) {
  const auto* const start = reinterpret_cast<const uint8_t*>(&number);
  bytes.insert(bytes.end(), start, start + sizeof(number));
}

static void AppendUleb(Bytes& bytes, uint64_t value) {
  do {
    const auto low = static_cast<uint8_t>(value & 0x7f);
    value >>= 7;
    bytes.push_back(value != 0 ? low | 0x80 : low);
  } while (value != 0);
}

static void SaveAt(Bytes& program, uint8_t dwarf_register, uint64_t words_below_cfa) {
  Append(program, kOffset | dwarf_register);
  AppendUleb(program, words_below_cfa);
}

static void CfaIs(Bytes& program, uint8_t dwarf_register, uint64_t offset) {
  Append(program, kDefineCfa);
  Append(program, dwarf_register);
  AppendUleb(program, offset);
}

// What holds at a function's first instruction.
static Bytes EntryProgram() {
  Bytes program;
  CfaIs(program, kRsp, 8);
  SaveAt(program, kReturnAddress, 1);
  return program;
}

// Writes one section of frames, each entry with a common part of its own where it differs.
class FrameWriter {
 public:
  void Add(uint64_t start, uint64_t bytes, uint64_t personality, uint64_t lsda, const Bytes& common,
           const Bytes& program) {
    const size_t shared = CommonPart(personality, common);
    const size_t entry = Begin();
    AppendNumber(frames, static_cast<uint32_t>(frames.size() - shared));
    AppendNumber(frames, start);
    AppendNumber(frames, bytes);
    AppendUleb(frames, personality != 0 ? sizeof(lsda) : 0);
    if (personality != 0) AppendNumber(frames, lsda);
    frames.insert(frames.end(), program.begin(), program.end());
    End(entry);
  }

  // The unwinder keeps the address, so the bytes stay for good.
  void Register() {
    AppendNumber(frames, uint32_t{0});
    __register_frame((new Bytes(frames))->data());
  }

 private:
  size_t Begin() {
    AppendNumber(frames, uint32_t{0});
    return frames.size();
  }

  void End(size_t start) {
    while (frames.size() % 8 != 4) frames.push_back(0);  // No operation.
    const auto length = static_cast<uint32_t>(frames.size() - start);
    memcpy(&frames[start - sizeof(length)], &length, sizeof(length));
  }

  size_t CommonPart(uint64_t personality, const Bytes& program) {
    size_t& place = common_parts[{personality, program}];
    if (place != 0) return place - 1;
    constexpr uint8_t kAbsolute = 0;
    const size_t start = Begin();
    AppendNumber(frames, uint32_t{0});
    Append(frames, 1);  // The form's version.
    const std::string augmentation = personality != 0 ? "zPLR" : "zR";
    frames.insert(frames.end(), augmentation.begin(), augmentation.end());
    Append(frames, 0);
    AppendUleb(frames, 1);
    Append(frames, kFactorMinusEight);
    Append(frames, kReturnAddress);
    if (personality != 0) {
      AppendUleb(frames, 1 + sizeof(personality) + 2);
      Append(frames, kAbsolute);
      AppendNumber(frames, personality);
      Append(frames, kAbsolute);
    } else {
      AppendUleb(frames, 1);
    }
    Append(frames, kAbsolute);
    frames.insert(frames.end(), program.begin(), program.end());
    End(start);
    const size_t length_field = start - sizeof(uint32_t);
    place = length_field + 1;
    return length_field;
  }

  Bytes frames;
  std::map<std::pair<uint64_t, Bytes>, size_t> common_parts;  // Where they begin, plus one.
};

// --- Compact encodings

static constexpr uint32_t kModeMask = 0x0f000000, kFramePointer = 0x01000000, kFixedStack = 0x02000000,
                          kStackInCode = 0x03000000, kDwarf = 0x04000000;

// The numbers 1 to 6 of the compact form.
static constexpr uint8_t kDwarfRegisters[] = {0, 3, 12, 13, 14, 15, kRbp};

static Bytes FramePointerProgram(uint32_t encoding) {
  Bytes program;
  CfaIs(program, kRbp, 16);
  SaveAt(program, kRbp, 2);
  const uint32_t lowest = encoding >> 16 & 0xff;
  for (uint32_t i = 0; i < 5; ++i) {
    const uint32_t saved = encoding >> (3 * i) & 7;
    if (saved != 0) SaveAt(program, kDwarfRegisters[saved], 2 + lowest - i);
  }
  return program;
}

// Which registers are saved, from the lowest address on: the number of the permutation says it.
static std::vector<uint8_t> SavedRegisters(uint32_t count, uint32_t permutation) {
  static constexpr uint32_t kWeights[7][6] = {
      {}, {1}, {5, 1}, {20, 4, 1}, {60, 12, 3, 1}, {120, 24, 6, 2, 1}, {120, 24, 6, 2, 1, 1}};
  std::vector<uint8_t> left = {1, 2, 3, 4, 5, 6};
  std::vector<uint8_t> saved;
  for (uint32_t i = 0; i < count; ++i) {
    const bool is_last_of_six = count == 6 && i == 5;
    const uint32_t index = is_last_of_six ? 0 : permutation / kWeights[count][i];
    permutation -= index * kWeights[count][i];
    if (index >= left.size()) Fail("a compact unwind encoding with an impossible permutation");
    saved.push_back(left[index]);
    left.erase(left.begin() + index);
  }
  return saved;
}

static Bytes StackPointerProgram(uint32_t encoding, uint64_t function) {
  uint64_t stack_bytes = uint64_t{encoding >> 16 & 0xff} * 8;
  if ((encoding & kModeMask) == kStackInCode) {
    uint32_t in_code;
    memcpy(&in_code, At<const void>(function + (encoding >> 16 & 0xff)), sizeof(in_code));
    stack_bytes = in_code + (encoding >> 13 & 7) * 8;
  }
  Bytes program;
  CfaIs(program, kRsp, stack_bytes);
  const std::vector<uint8_t> saved = SavedRegisters(encoding >> 10 & 7, encoding & 0x3ff);
  for (size_t i = 0; i < saved.size(); ++i) SaveAt(program, kDwarfRegisters[saved[i]], 1 + saved.size() - i);
  return program;
}

// --- Functions whose frames the image describes in DWARF itself: their programs are copied.

struct DwarfPrograms {
  Bytes common, own;
};

static DwarfPrograms CopyDwarf(const Image& image, uint32_t offset) {
  const Section* const section = image.Find("__eh_frame");
  if (section == nullptr) Fail("%s: unwind information points to a missing __eh_frame", image.path.c_str());
  const auto* const entry = At<const uint8_t>(image.Loaded(section->address) + offset);
  uint32_t entry_bytes;
  uint32_t common_distance;
  memcpy(&entry_bytes, entry, sizeof(entry_bytes));
  memcpy(&common_distance, entry + 4, sizeof(common_distance));
  const uint8_t* const common = entry + 4 - common_distance;
  uint32_t common_bytes;
  memcpy(&common_bytes, common, sizeof(common_bytes));

  const uint8_t* at = common + 9;  // Behind length, kind and version.
  const std::string augmentation = reinterpret_cast<const char*>(at);
  at += augmentation.size() + 1;
  const uint64_t code_factor = ReadUleb(at);
  const uint8_t data_factor = *at++;
  const uint8_t return_register = *at++;
  if (code_factor != 1 || data_factor != kFactorMinusEight || return_register != kReturnAddress ||
      augmentation.empty() || augmentation[0] != 'z') {
    Fail("%s: DWARF frames of a form that is not known", image.path.c_str());
  }
  const uint64_t augmentation_bytes = ReadUleb(at);
  at += augmentation_bytes;
  DwarfPrograms programs;
  programs.common.assign(at, common + 4 + common_bytes);

  at = entry + 8 + 16;  // Behind start and size, which are absolute numbers relative to their place.
  const uint64_t own_augmentation_bytes = ReadUleb(at);
  at += own_augmentation_bytes;
  programs.own.assign(at, entry + 4 + entry_bytes);
  return programs;
}

// --- The section

struct UnwindHead {
  uint32_t version, encodings, encoding_count, personalities, personality_count, index, index_count;
};

struct IndexEntry {
  uint32_t function, page, lsdas;
};

struct FunctionEntry {
  uint32_t offset, encoding;
};

static std::vector<FunctionEntry> ReadPage(const uint8_t* section, const UnwindHead& head, const IndexEntry& index) {
  constexpr uint32_t kRegular = 2, kCompressed = 3;
  const uint8_t* const page = section + index.page;
  uint32_t kind;
  uint16_t entries_at;
  uint16_t count;
  uint16_t encodings_at;
  memcpy(&kind, page, sizeof(kind));
  memcpy(&entries_at, page + 4, sizeof(entries_at));
  memcpy(&count, page + 6, sizeof(count));
  memcpy(&encodings_at, page + 8, sizeof(encodings_at));
  if (kind != kRegular && kind != kCompressed) Fail("an unwind page of a kind that is not known");
  std::vector<FunctionEntry> functions;
  for (uint32_t i = 0; i < count; ++i) {
    FunctionEntry function;
    if (kind == kRegular) {
      memcpy(&function, page + entries_at + i * sizeof(function), sizeof(function));
    } else {
      uint32_t packed;
      memcpy(&packed, page + entries_at + i * sizeof(packed), sizeof(packed));
      const uint32_t number = packed >> 24;
      function.offset = index.function + (packed & 0xffffff);
      const uint8_t* const encoding = number < head.encoding_count
                                          ? section + head.encodings + number * sizeof(uint32_t)
                                          : page + encodings_at + (number - head.encoding_count) * sizeof(uint32_t);
      memcpy(&function.encoding, encoding, sizeof(function.encoding));
    }
    functions.push_back(function);
  }
  return functions;
}

static std::map<uint32_t, uint32_t> ReadLsdas(const uint8_t* section, const std::vector<IndexEntry>& index) {
  std::map<uint32_t, uint32_t> lsdas;
  for (uint32_t at = index.front().lsdas; at < index.back().lsdas; at += 2 * sizeof(uint32_t)) {
    uint32_t pair[2];
    memcpy(pair, section + at, sizeof(pair));
    lsdas[pair[0]] = pair[1];
  }
  return lsdas;
}

void RegisterUnwindInformation(const Image& image) {
  const Section* const found = image.Find("__unwind_info");
  if (found == nullptr) return;
  const auto* const section = At<const uint8_t>(image.Loaded(found->address));
  UnwindHead head;
  memcpy(&head, section, sizeof(head));
  if (head.index_count == 0) return;
  std::vector<IndexEntry> index(head.index_count);
  memcpy(index.data(), section + head.index, index.size() * sizeof(IndexEntry));
  const std::map<uint32_t, uint32_t> lsdas = ReadLsdas(section, index);

  std::vector<FunctionEntry> functions;
  for (size_t i = 0; i + 1 < index.size(); ++i) {
    const std::vector<FunctionEntry> page = ReadPage(section, head, index[i]);
    functions.insert(functions.end(), page.begin(), page.end());
  }
  functions.push_back({index.back().function, 0});

  FrameWriter writer;
  for (size_t i = 0; i + 1 < functions.size(); ++i) {
    const FunctionEntry& function = functions[i];
    const uint64_t start = image.base + function.offset;
    const uint64_t bytes = functions[i + 1].offset - function.offset;
    uint64_t personality = 0;
    if (const uint32_t number = function.encoding >> 28 & 3; number != 0) {
      uint32_t pointer;
      memcpy(&pointer, section + head.personalities + (number - 1) * sizeof(pointer), sizeof(pointer));
      personality = *At<const uint64_t>(image.base + pointer);
    }
    const auto lsda = lsdas.find(function.offset);
    const uint64_t lsda_address = lsda != lsdas.end() ? image.base + lsda->second : 0;
    switch (function.encoding & kModeMask) {
      case kFramePointer:
        writer.Add(start, bytes, personality, lsda_address, EntryProgram(), FramePointerProgram(function.encoding));
        break;
      case kFixedStack:
      case kStackInCode:
        writer.Add(start, bytes, personality, lsda_address, EntryProgram(),
                   StackPointerProgram(function.encoding, start));
        break;
      case kDwarf: {
        const DwarfPrograms programs = CopyDwarf(image, function.encoding & 0xffffff);
        writer.Add(start, bytes, personality, lsda_address, programs.common, programs.own);
        break;
      }
      default:  // A function that exceptions do not pass.
        break;
    }
  }
  writer.Register();
}
