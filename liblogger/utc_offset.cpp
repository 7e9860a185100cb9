#include "liblogger/utc_offset.h"

#include <fcntl.h>
#include <limits.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "liblogger/calendar.h"
#include "liblogger/descriptor.h"

static constexpr char kMachineZone[] = "/etc/localtime";
static constexpr char kZoneFolder[] = "/usr/share/zoneinfo";

// Several times the largest file.
static constexpr size_t kMostFileBytes = size_t{64} * 1024;

// Takes a file apart from its start. What lies beyond its end is read as zeros, and remembered.
class FileReader {
 public:
  FileReader(const char* bytes, size_t size) : next(bytes), left(size) {}

  // The bytes, or null where there are not so many.
  const char* Take(uint64_t size) {
    is_short = is_short || size > left;
    if (is_short) return nullptr;
    const char* const taken = next;
    next += size;
    left -= size;
    return taken;
  }
  // A big-endian number of 1 to 8 bytes.
  uint64_t Number(size_t size) {
    const char* const taken = Take(size);
    uint64_t number = 0;
    for (size_t i = 0; taken != nullptr && i < size; ++i) number = number << 8 | static_cast<unsigned char>(taken[i]);
    return number;
  }
  int64_t SignedNumber(size_t size) {
    return size == 8 ? static_cast<int64_t>(Number(8)) : static_cast<int32_t>(static_cast<uint32_t>(Number(4)));
  }
  size_t Left() const { return left; }
  bool IsShort() const { return is_short; }

 private:
  const char* next;
  size_t left;
  bool is_short = false;
};

// The numbers of things that follow a header.
struct Counts {
  uint64_t utc_marks;
  uint64_t standard_marks;
  uint64_t leap_seconds;
  uint64_t changes;
  uint64_t types;
  uint64_t name_bytes;
};

// Reads one of a file's headers. Returns its version, or -1 if it is not a header.
static int ReadHeader(FileReader& file, Counts& counts) {
  constexpr char kMagic[] = {'T', 'Z', 'i', 'f'};
  constexpr size_t kUnusedBytes = 15;
  constexpr size_t kCountBytes = 4;
  const char* const magic = file.Take(sizeof(kMagic));
  if (magic == nullptr || memcmp(magic, kMagic, sizeof(kMagic)) != 0) return -1;
  const auto version = static_cast<int>(file.Number(1));
  (void)file.Take(kUnusedBytes);
  for (uint64_t* count : {&counts.utc_marks, &counts.standard_marks, &counts.leap_seconds, &counts.changes,
                          &counts.types, &counts.name_bytes}) {
    *count = file.Number(kCountBytes);
  }
  return file.IsShort() ? -1 : version;
}

static constexpr size_t kTypeBytes = 6;

// The size of what stands behind the changes and the types.
static uint64_t RestBytes(const Counts& counts, size_t time_bytes) {
  return counts.name_bytes + counts.leap_seconds * (time_bytes + 4) + counts.standard_marks + counts.utc_marks;
}

bool UtcOffsets::ReadFile(const char* bytes, size_t size) {
  FileReader file(bytes, size);
  Counts counts = {};
  const int version = ReadHeader(file, counts);
  size_t time_bytes = 4;
  if (version > 0) {
    // All is there twice, the second time with times beyond 2038.
    (void)file.Take(counts.changes * (time_bytes + 1) + counts.types * kTypeBytes + RestBytes(counts, time_bytes));
    if (ReadHeader(file, counts) != version) return false;
    time_bytes = 8;
  }
  const char* const times = file.Take(counts.changes * time_bytes);
  const char* const type_numbers = file.Take(counts.changes);
  const char* const types = file.Take(counts.types * kTypeBytes);
  (void)file.Take(RestBytes(counts, time_bytes));
  if (version < 0 || file.IsShort() || counts.types == 0) return false;

  changes.reset(new (std::nothrow) Change[counts.changes]);
  if (changes == nullptr) return false;
  count = counts.changes;
  const auto offset_of = [types](uint64_t type) {
    return static_cast<long>(FileReader(types + type * kTypeBytes, kTypeBytes).SignedNumber(4));
  };
  seconds_before = offset_of(0);
  for (size_t i = 0; i < count; ++i) {
    const auto type = static_cast<unsigned char>(type_numbers[i]);
    if (type >= counts.types) return false;
    changes[i] = {FileReader(times + i * time_bytes, time_bytes).SignedNumber(time_bytes), offset_of(type)};
  }

  // A line of its own at the end, between two line feeds.
  char text[128] = {};
  const size_t rule_bytes = file.Left();
  if (rule_bytes > 2 && rule_bytes < sizeof(text)) {
    memcpy(text, file.Take(rule_bytes) + 1, rule_bytes - 2);
    has_rule = rule.Parse(text);
  }
  return true;
}

bool UtcOffsets::ReadPath(const char* path) {
  const Descriptor file(open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  if (!file.IsOpen()) return false;
  const std::unique_ptr<char[]> bytes(new (std::nothrow) char[kMostFileBytes]);
  if (bytes == nullptr) return false;
  const ssize_t size = read(file.Number(), bytes.get(), kMostFileBytes);
  return size > 0 && ReadFile(bytes.get(), static_cast<size_t>(size));
}

// Finds the time zone as the C library does.
bool UtcOffsets::ReadZone() {
  const char* zone = getenv("TZ");
  if (zone == nullptr) return ReadPath(kMachineZone);
  if (*zone == ':') ++zone;
  if (*zone == '/') return ReadPath(zone);
  const char* const folder = getenv("TZDIR");
  char path[PATH_MAX];
  const int length = snprintf(path, sizeof(path), "%s/%s", folder != nullptr ? folder : kZoneFolder, zone);
  if (length > 0 && static_cast<size_t>(length) < sizeof(path) && ReadPath(path)) return true;
  count = 0;
  has_rule = rule.Parse(zone);
  return has_rule;
}

static long AskSystem(time_t when) {
  tm local = {};
  return localtime_r(&when, &local) != nullptr ? local.tm_gmtoff : 0;
}

bool UtcOffsets::AgreesWithSystem(time_t now) const {
  constexpr time_t kMonthSeconds = 30 * kDaySeconds;
  for (int month = 0; month <= 12; ++month) {
    const time_t when = now + month * kMonthSeconds;
    if (At(when) != AskSystem(when)) return false;
  }
  return true;
}

void UtcOffsets::Learn(time_t now) {
  tzset();  // `localtime_r` need not look at the environment's time zone.
  if (ReadZone() && AgreesWithSystem(now)) return;
  count = 0;
  has_rule = false;
  seconds_before = AskSystem(now);
}

long UtcOffsets::At(time_t when) const {
  const Change* const begin = changes.get();
  const Change* const next = std::upper_bound(
      begin, begin + count, when, [](int64_t moment, const Change& change) { return moment < change.when; });
  if (has_rule && next == begin + count) return rule.OffsetAt(when);
  return next == begin ? seconds_before : (next - 1)->seconds;
}
