#include "tools/machorun/image.h"

#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "tools/machorun/failure.h"
#include "tools/machorun/fixups.h"
#include "tools/machorun/leb128.h"
#include "tools/machorun/thread_locals.h"
#include "tools/machorun/unwind.h"

// --- The file's numbers; big-endian ones are those of a universal file's head.

static constexpr uint32_t kMagic64 = 0xfeedfacf;
static constexpr uint32_t kMagicUniversal = 0xbebafeca;
static constexpr uint32_t kIntel64 = 0x01000007;

static constexpr uint32_t kRequired = 0x80000000;
static constexpr uint32_t kLoadSegment = 0x19, kLoadLibrary = 0xc, kLoadWeakLibrary = 0x18 | kRequired,
                          kReexportLibrary = 0x1f | kRequired, kRunPath = 0x1c | kRequired, kDyldInfo = 0x22,
                          kDyldInfoOnly = 0x22 | kRequired, kMain = 0x28 | kRequired, kExportsTrie = 0x33 | kRequired,
                          kChainedFixups = 0x34 | kRequired;

static constexpr uint32_t kSectionTypeMask = 0xff, kInitializerPointers = 0x9, kInitializerOffsets = 0x16;

static constexpr char kSystemLibraries[] = "/usr/lib/libSystem";

struct Header {
  uint32_t magic, processor, processor_kind, file_type, command_count, command_bytes, flags, reserved;
};

struct Command {
  uint32_t kind, bytes;
};

struct SegmentCommand {
  uint32_t kind, bytes;
  char name[16];
  uint64_t address, memory_bytes, file_offset, file_bytes;
  int32_t most_protection, protection;
  uint32_t section_count, flags;
};

struct SectionEntry {
  char name[16], segment[16];
  uint64_t address, bytes;
  uint32_t offset, alignment, relocation_offset, relocation_count, flags, reserved[3];
};

static std::vector<Image*>& g_images = *new std::vector<Image*>;

const std::vector<Image*>& Images() { return g_images; }

const Section* Image::Find(const std::string& section) const {
  for (const Section& candidate : sections) {
    if (candidate.name == section) return &candidate;
  }
  return nullptr;
}

const uint8_t* Image::LinkEdit(const Range& range) const {
  for (const Segment& segment : segments) {
    if (segment.name != "__LINKEDIT") continue;
    if (range.offset < segment.file_offset || range.offset + range.bytes > segment.file_offset + segment.file_bytes) {
      Fail("%s: a table lies outside of __LINKEDIT", path.c_str());
    }
    return At<const uint8_t>(Loaded(segment.address + range.offset - segment.file_offset));
  }
  Fail("%s: there is no __LINKEDIT", path.c_str());
}

// --- Reading the file

static uint32_t BigEndian(uint32_t value) { return __builtin_bswap32(value); }

// Returns where the slice for Intel's processors begins, or -1 when this is not a Mach-O file with one.
static int64_t FindSlice(int file) {
  uint32_t magic = 0;
  if (pread(file, &magic, sizeof(magic), 0) != static_cast<ssize_t>(sizeof(magic))) return -1;
  if (magic == kMagic64) return 0;
  if (magic != kMagicUniversal) return -1;
  uint32_t count = 0;
  if (pread(file, &count, sizeof(count), sizeof(magic)) != static_cast<ssize_t>(sizeof(count))) return -1;
  struct {
    uint32_t processor, kind, offset, bytes, alignment;
  } slice;
  for (uint32_t i = 0; i < std::min(BigEndian(count), 16U); ++i) {
    if (pread(file, &slice, sizeof(slice), static_cast<off_t>(8 + i * sizeof(slice))) != sizeof(slice)) return -1;
    if (BigEndian(slice.processor) == kIntel64) return BigEndian(slice.offset);
  }
  return -1;
}

bool IsMachO(const char* path) {
  const int file = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file < 0) return false;
  const bool found = FindSlice(file) >= 0;
  (void)close(file);
  return found;
}

static void ReadSegment(const SegmentCommand& command, Image& image) {
  const std::string name(command.name, strnlen(command.name, sizeof(command.name)));
  image.segments.push_back(
      {name, command.address, command.memory_bytes, command.file_offset, command.file_bytes, command.protection});
  const auto* entries = reinterpret_cast<const SectionEntry*>(&command + 1);
  for (uint32_t i = 0; i < command.section_count; ++i) {
    const SectionEntry& entry = entries[i];
    image.sections.push_back({std::string(entry.name, strnlen(entry.name, sizeof(entry.name))), entry.address,
                              entry.bytes, entry.flags & kSectionTypeMask});
  }
}

static std::string TextAt(const Command& command, uint32_t offset) {
  return reinterpret_cast<const char*>(&command) + offset;
}

static void ReadCommand(const Command& command, Image& image) {
  const auto* words = reinterpret_cast<const uint32_t*>(&command);
  const auto range = [&](int word) { return Image::Range{words[word], words[word + 1]}; };
  switch (command.kind) {
    case kLoadSegment:
      ReadSegment(reinterpret_cast<const SegmentCommand&>(command), image);
      break;
    case kLoadLibrary:
    case kLoadWeakLibrary:
    case kReexportLibrary:
      image.dependencies.push_back(TextAt(command, words[2]));
      break;
    case kRunPath:
      image.run_paths.push_back(TextAt(command, words[2]));
      break;
    case kDyldInfo:
    case kDyldInfoOnly:
      image.rebase = range(2);
      image.bind = range(4);
      image.weak_bind = range(6);
      image.lazy_bind = range(8);
      image.export_trie = range(10);
      break;
    case kExportsTrie:
      image.export_trie = range(2);
      break;
    case kChainedFixups:
      image.chained_fixups = range(2);
      break;
    case kMain:
      image.entry = *reinterpret_cast<const uint64_t*>(words + 2);
      break;
    default:
      break;
  }
}

// --- Mapping

static void MapSegments(int file, int64_t slice, Image& image) {
  uint64_t lowest = UINT64_MAX;
  uint64_t highest = 0;
  for (const Segment& segment : image.segments) {
    if (segment.name == "__PAGEZERO") continue;
    lowest = std::min(lowest, segment.address);
    highest = std::max(highest, segment.address + segment.bytes);
  }
  void* room = mmap(nullptr, highest - lowest, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (room == MAP_FAILED) Fail("%s: no room for it in memory", image.path.c_str());
  image.base = reinterpret_cast<uint64_t>(room);
  image.slide = static_cast<int64_t>(image.base - lowest);
  for (const Segment& segment : image.segments) {
    if (segment.name == "__PAGEZERO" || segment.bytes == 0) continue;
    void* place = At<void>(image.Loaded(segment.address));
    if (mmap(place, segment.bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) ==
        MAP_FAILED) {
      Fail("%s: no memory for %s", image.path.c_str(), segment.name.c_str());
    }
    if (pread(file, place, segment.file_bytes, slice + static_cast<int64_t>(segment.file_offset)) !=
        static_cast<ssize_t>(segment.file_bytes)) {
      Fail("%s: %s is cut off", image.path.c_str(), segment.name.c_str());
    }
  }
}

static void ProtectSegments(const Image& image) {
  for (const Segment& segment : image.segments) {
    if (segment.name == "__PAGEZERO" || segment.bytes == 0) continue;
    // The numbers for reading, writing and executing are the same on both systems.
    if (mprotect(At<void>(image.Loaded(segment.address)), segment.bytes, segment.protection) != 0) {
      Fail("%s: %s can't be protected", image.path.c_str(), segment.name.c_str());
    }
  }
}

// --- Exports

static void ReadTrie(const uint8_t* start, const uint8_t* at, const std::string& prefix, Image& image) {
  constexpr uint64_t kReexported = 0x8, kKindMask = 0x3, kAbsolute = 0x2;
  const uint64_t terminal_bytes = ReadUleb(at);
  const uint8_t* children = at + terminal_bytes;
  if (terminal_bytes != 0) {
    const uint64_t flags = ReadUleb(at);
    if ((flags & kReexported) != 0) Fail("%s: it exports a symbol of another library", image.path.c_str());
    const uint64_t offset = ReadUleb(at);
    image.exports[prefix] = (flags & kKindMask) == kAbsolute ? offset : image.base + offset;
  }
  for (uint8_t count = *children++; count > 0; --count) {
    const std::string edge = reinterpret_cast<const char*>(children);
    children += edge.size() + 1;
    const uint64_t child = ReadUleb(children);
    ReadTrie(start, start + child, prefix + edge, image);
  }
}

static void ReadExports(Image& image) {
  if (image.export_trie.bytes == 0) return;
  const uint8_t* trie = image.LinkEdit(image.export_trie);
  ReadTrie(trie, trie, "", image);
}

void* FindExport(const std::string& symbol) {
  for (const Image* image : g_images) {
    const auto found = image->exports.find(symbol);
    if (found != image->exports.end()) return At<void>(found->second);
  }
  return nullptr;
}

// --- Libraries

static std::string FolderOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

static std::string WithPrefix(const std::string& text, const std::string& prefix, const std::string& replacement) {
  return text.compare(0, prefix.size(), prefix) == 0 ? replacement + text.substr(prefix.size()) : text;
}

static std::string Expand(const std::string& name, const Image& image) {
  return WithPrefix(WithPrefix(name, "@executable_path", FolderOf(g_images.front()->path)), "@loader_path",
                    FolderOf(image.path));
}

static std::string FindLibrary(const std::string& name, const Image& image) {
  const std::string run_path = "@rpath";
  if (name.compare(0, run_path.size(), run_path) != 0) return Expand(name, image);
  for (const Image* user : {&image, static_cast<const Image*>(g_images.front())}) {
    for (const std::string& folder : user->run_paths) {
      std::string candidate = Expand(folder, *user) + name.substr(run_path.size());
      if (access(candidate.c_str(), R_OK) == 0) return candidate;
    }
  }
  Fail("%s: library not found: %s", image.path.c_str(), name.c_str());
}

static Image& Load(const std::string& path);

static void LoadLibraries(Image& image) {
  for (const std::string& name : image.dependencies) {
    if (name.compare(0, sizeof(kSystemLibraries) - 1, kSystemLibraries) == 0) {
      image.libraries.push_back(nullptr);
      continue;
    }
    image.libraries.push_back(&Load(FindLibrary(name, image)));
  }
}

static Image& Load(const std::string& given_path) {
  char real[PATH_MAX];
  const std::string path = realpath(given_path.c_str(), real) != nullptr ? real : given_path;
  for (Image* image : g_images) {
    if (image->path == path) return *image;
  }
  auto* const image = new Image;
  image->path = path;
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) Fail("%s: can't be opened: %s", path.c_str(), strerror(errno));
  const int64_t slice = FindSlice(file);
  if (slice < 0) Fail("%s: no Mach-O file for Intel's processors", path.c_str());

  Header header;
  if (pread(file, &header, sizeof(header), slice) != sizeof(header) || header.magic != kMagic64 ||
      header.processor != kIntel64) {
    Fail("%s: no Mach-O file for Intel's processors", path.c_str());
  }
  std::vector<char> commands(header.command_bytes);
  if (pread(file, commands.data(), commands.size(), slice + static_cast<int64_t>(sizeof(header))) !=
      static_cast<ssize_t>(commands.size())) {
    Fail("%s: it is cut off", path.c_str());
  }
  size_t at = 0;
  for (uint32_t i = 0; i < header.command_count && at + sizeof(Command) <= commands.size(); ++i) {
    const auto& command = reinterpret_cast<const Command&>(commands[at]);
    ReadCommand(command, *image);
    at += command.bytes;
  }
  MapSegments(file, slice, *image);
  (void)close(file);
  ReadExports(*image);
  g_images.push_back(image);
  LoadLibraries(*image);
  return *image;
}

const Image& LoadProgram(const std::string& path) {
  const Image& program = Load(path);
  for (const Image* image : g_images) ApplyFixups(*image);
  for (const Image* image : g_images) ApplyReplacements(*image);
  for (const Image* image : g_images) {
    RegisterThreadLocals(*image);
    ProtectSegments(*image);
    RegisterUnwindInformation(*image);
  }
  if (program.entry == 0) Fail("%s: it is not a program", program.path.c_str());
  return program;
}

void RunInitializers(int argc, char** argv, char** environment) {
  using Initializer = void (*)(int, char**, char**, char**);
  for (auto image = g_images.rbegin(); image != g_images.rend(); ++image) {
    for (const Section& section : (*image)->sections) {
      const uint64_t start = (*image)->Loaded(section.address);
      if (section.type == kInitializerPointers) {
        for (uint64_t at = start; at < start + section.bytes; at += sizeof(uint64_t)) {
          (*At<Initializer>(at))(argc, argv, environment, nullptr);
        }
      }
      if (section.type == kInitializerOffsets) {
        for (uint64_t at = start; at < start + section.bytes; at += sizeof(uint32_t)) {
          FunctionAt<Initializer>((*image)->base + *At<uint32_t>(at))(argc, argv, environment, nullptr);
        }
      }
    }
  }
}
