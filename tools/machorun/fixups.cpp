#include "tools/machorun/fixups.h"

#include <string.h>

#include <string>
#include <vector>

#include "tools/machorun/failure.h"
#include "tools/machorun/leb128.h"
#include "tools/machorun/shims.h"

static uint64_t& PointerAt(uint64_t address) { return *At<uint64_t>(address); }

static uint64_t AddressOf(const void* place) { return reinterpret_cast<uint64_t>(place); }

// Resolves a symbol that the library with this ordinal is said to have.
static uint64_t Resolve(const Image& image, int64_t ordinal, const std::string& symbol, bool may_be_missing) {
  constexpr int64_t kSelf = 0, kMainProgram = -1, kFlat = -2, kWeak = -3;
  const Image* library = nullptr;
  if (ordinal == kSelf) library = &image;
  if (ordinal == kMainProgram) library = Images().front();
  if (ordinal > 0) {
    if (static_cast<size_t>(ordinal) > image.libraries.size())
      Fail("%s: no library %d", image.path.c_str(), static_cast<int>(ordinal));
    library = image.libraries[static_cast<size_t>(ordinal) - 1];
    if (library == nullptr) return AddressOf(SystemSymbol(symbol, may_be_missing));
  }
  if (ordinal == kFlat || ordinal == kWeak) {
    void* const found = FindExport(symbol);
    return found != nullptr || may_be_missing ? AddressOf(found) : AddressOf(SystemSymbol(symbol, may_be_missing));
  }
  if (library != nullptr) {
    const auto found = library->exports.find(symbol);
    if (found != library->exports.end()) return found->second;
  }
  if (may_be_missing) return 0;
  Fail("%s: symbol not found: %s", image.path.c_str(), symbol.c_str());
}

static uint64_t SegmentStart(const Image& image, unsigned index) {
  if (index >= image.segments.size()) Fail("%s: no segment %u", image.path.c_str(), index);
  return image.Loaded(image.segments[index].address);
}

static void Rebase(const Image& image) {
  constexpr uint8_t kOperation = 0xf0, kImmediate = 0x0f;
  if (image.rebase.bytes == 0) return;
  const uint8_t* at = image.LinkEdit(image.rebase);
  const uint8_t* const end = at + image.rebase.bytes;
  uint64_t place = 0;
  const auto rebase = [&](uint64_t count, uint64_t step) {
    for (; count > 0; --count, place += step) PointerAt(place) += static_cast<uint64_t>(image.slide);
  };
  while (at < end) {
    const uint8_t byte = *at++;
    const uint8_t immediate = byte & kImmediate;
    switch (byte & kOperation) {
      case 0x00:  // Done.
        return;
      case 0x10:  // Set the type: pointers are the only one.
        break;
      case 0x20:
        place = SegmentStart(image, immediate) + ReadUleb(at);
        break;
      case 0x30:
        place += ReadUleb(at);
        break;
      case 0x40:
        place += immediate * sizeof(uint64_t);
        break;
      case 0x50:
        rebase(immediate, sizeof(uint64_t));
        break;
      case 0x60:
        rebase(ReadUleb(at), sizeof(uint64_t));
        break;
      case 0x70:
        rebase(1, sizeof(uint64_t) + ReadUleb(at));
        break;
      case 0x80: {
        const uint64_t count = ReadUleb(at);
        rebase(count, sizeof(uint64_t) + ReadUleb(at));
        break;
      }
      default:
        Fail("%s: unknown rebase operation %#x", image.path.c_str(), byte);
    }
  }
}

// Weak definitions are taken from the first image that has one, and otherwise stay as they are. Lazy binding is not
// lazy here, so its table's "done" marks are stepped over.
static void Bind(const Image& image, const Image::Range& table, bool is_weak, bool is_lazy) {
  constexpr uint8_t kOperation = 0xf0, kImmediate = 0x0f;
  if (table.bytes == 0) return;
  const uint8_t* at = image.LinkEdit(table);
  const uint8_t* const end = at + table.bytes;
  int64_t ordinal = 0;
  int64_t addend = 0;
  std::string symbol;
  bool may_be_missing = false;
  uint64_t place = 0;
  const auto bind = [&](uint64_t count, uint64_t step) {
    uint64_t value = 0;
    if (is_weak) {
      value = AddressOf(FindExport(symbol));
    } else {
      value = Resolve(image, ordinal, symbol, may_be_missing);
    }
    for (; count > 0; --count, place += step) {
      if (!is_weak || value != 0) PointerAt(place) = value + static_cast<uint64_t>(addend);
    }
  };
  while (at < end) {
    const uint8_t byte = *at++;
    const uint8_t immediate = byte & kImmediate;
    switch (byte & kOperation) {
      case 0x00:  // Done.
        if (!is_lazy) return;
        break;
      case 0x10:
        ordinal = immediate;
        break;
      case 0x20:
        ordinal = static_cast<int64_t>(ReadUleb(at));
        break;
      case 0x30:  // A negative number, of which the low four bits are written.
        ordinal = immediate == 0 ? 0 : static_cast<int8_t>(0xf0 | immediate);
        break;
      case 0x40:
        may_be_missing = (immediate & 1) != 0;
        symbol = reinterpret_cast<const char*>(at);
        at += symbol.size() + 1;
        break;
      case 0x50:  // Set the type: pointers are the only one.
        break;
      case 0x60:
        addend = ReadSleb(at);
        break;
      case 0x70:
        place = SegmentStart(image, immediate) + ReadUleb(at);
        break;
      case 0x80:
        place += ReadUleb(at);
        break;
      case 0x90:
        bind(1, sizeof(uint64_t));
        break;
      case 0xa0:
        bind(1, sizeof(uint64_t) + ReadUleb(at));
        break;
      case 0xb0:
        bind(1, sizeof(uint64_t) * (uint64_t{immediate} + 1));
        break;
      case 0xc0: {
        const uint64_t count = ReadUleb(at);
        bind(count, sizeof(uint64_t) + ReadUleb(at));
        break;
      }
      default:
        Fail("%s: unknown bind operation %#x", image.path.c_str(), byte);
    }
  }
}

// The newer form: each page's pointers are a chain, every link of which says what it becomes and where the next is.
static void FollowChains(const Image& image) {
  if (image.chained_fixups.bytes == 0) return;
  const uint8_t* const table = image.LinkEdit(image.chained_fixups);
  struct {
    uint32_t version, starts, imports, symbols, import_count, import_format, symbol_format;
  } head;
  memcpy(&head, table, sizeof(head));
  constexpr uint32_t kPlainImports = 1;
  if (head.import_format != kPlainImports || head.symbol_format != 0) {
    Fail("%s: chained fixups of a form that is not known", image.path.c_str());
  }
  std::vector<uint64_t> imports;
  for (uint32_t i = 0; i < head.import_count; ++i) {
    uint32_t entry;
    memcpy(&entry, table + head.imports + i * sizeof(entry), sizeof(entry));
    const auto ordinal = static_cast<int8_t>(entry & 0xff);
    const bool may_be_missing = (entry >> 8 & 1) != 0;
    const std::string symbol = reinterpret_cast<const char*>(table + head.symbols + (entry >> 9));
    imports.push_back(Resolve(image, ordinal, symbol, may_be_missing));
  }
  const uint8_t* const starts = table + head.starts;
  uint32_t segment_count;
  memcpy(&segment_count, starts, sizeof(segment_count));
  for (uint32_t i = 0; i < segment_count; ++i) {
    uint32_t offset;
    memcpy(&offset, starts + sizeof(segment_count) + i * sizeof(offset), sizeof(offset));
    if (offset == 0) continue;
    struct __attribute__((packed)) {
      uint32_t bytes;
      uint16_t page_bytes, format;
      uint64_t segment_offset;
      uint32_t most_valid;
      uint16_t page_count;
    } segment;
    memcpy(&segment, starts + offset, sizeof(segment));
    constexpr uint16_t kPointers = 2, kOffsets = 6, kNoChain = 0xffff;
    if (segment.format != kPointers && segment.format != kOffsets) {
      Fail("%s: chained pointers of format %u", image.path.c_str(), segment.format);
    }
    for (uint16_t page = 0; page < segment.page_count; ++page) {
      uint16_t start;
      memcpy(&start, starts + offset + sizeof(segment) + page * sizeof(start), sizeof(start));
      if (start == kNoChain) continue;
      uint64_t place = image.base + segment.segment_offset + uint64_t{page} * segment.page_bytes + start;
      for (;;) {
        const uint64_t link = PointerAt(place);
        const bool is_bind = link >> 63 != 0;
        const uint64_t next = link >> 51 & 0xfff;
        if (is_bind) {
          const uint64_t index = link & 0xffffff;
          if (index >= imports.size()) Fail("%s: no import %d", image.path.c_str(), static_cast<int>(index));
          PointerAt(place) = imports[index] + (link >> 24 & 0xff);
        } else {
          const uint64_t target = link & 0xfffffffff;
          const uint64_t high = (link >> 36 & 0xff) << 56;
          PointerAt(place) = (segment.format == kOffsets ? image.base + target : image.Loaded(target)) | high;
        }
        if (next == 0) break;
        place += next * 4;
      }
    }
  }
}

void ApplyFixups(const Image& image) {
  Rebase(image);
  Bind(image, image.bind, false, false);
  Bind(image, image.lazy_bind, false, true);
  Bind(image, image.weak_bind, true, false);
  FollowChains(image);
}

void ApplyReplacements(const Image& image) {
  constexpr uint32_t kPointers = 0x6, kLazyPointers = 0x7;
  const Section* const list = image.Find("__interpose");
  if (list == nullptr) return;
  struct Replacement {
    uint64_t replacement, replaced;
  };
  const auto* const replacements = At<const Replacement>(image.Loaded(list->address));
  for (const Image* other : Images()) {
    if (other == &image) continue;
    for (const Section& section : other->sections) {
      if (section.type != kPointers && section.type != kLazyPointers) continue;
      const uint64_t start = other->Loaded(section.address);
      for (uint64_t at = start; at < start + section.bytes; at += sizeof(uint64_t)) {
        for (size_t i = 0; i < list->bytes / sizeof(Replacement); ++i) {
          if (PointerAt(at) == replacements[i].replaced) PointerAt(at) = replacements[i].replacement;
        }
      }
    }
  }
}
