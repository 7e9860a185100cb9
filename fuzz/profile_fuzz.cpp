// The INI reader beside its literal description: any file, any names, any buffer.
#include <fuzzer/FuzzedDataProvider.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "common/settings/profile.h"
#include "fuzz/require.h"
#include "tests/common/settings/profile_model.h"

// A file without a name, which leaves nothing behind however this program ends.
static int MakeFile() {
  char name[] = "/tmp/profile_fuzz.XXXXXX";
  const int file = mkstemp(name);
  Require(file >= 0 && unlink(name) == 0, "a file can be made in /tmp");
  return file;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const int file = MakeFile();
  static const std::string path = "/proc/self/fd/" + std::to_string(file);

  FuzzedDataProvider input(data, size);
  const auto buffer_bytes = input.ConsumeIntegralInRange<int32_t>(-1, 4096);
  const std::string section = input.ConsumeRandomLengthString(20);
  const std::string key = input.ConsumeRandomLengthString(20);
  const std::string fallback = input.ConsumeRandomLengthString(20);
  const auto filler_bytes = input.ConsumeIntegralInRange<size_t>(0, 5000);  // Long lines, without long inputs.
  const size_t filler_at = input.ConsumeIntegralInRange<size_t>(0, 4096);
  std::string content = input.ConsumeRemainingBytesAsString();
  content.insert(std::min(filler_at, content.size()), std::string(filler_bytes, 'x'));
  Require(ftruncate(file, 0) == 0 && pwrite(file, content.data(), content.size(), 0) >= 0, "the file can be written");

  char ours[10000];
  char literal[sizeof(ours)];
  memset(ours, '#', sizeof(ours));
  memset(literal, '#', sizeof(literal));
  const uint64_t length = GetPrivateProfileString(section, key, fallback, ours, buffer_bytes, path);
  Require(length == LiteralProfile::String(section, key, fallback, literal, buffer_bytes, path),
          "the length is the literal reader's");
  Require(memcmp(ours, literal, sizeof(ours)) == 0, "the buffer is the literal reader's");

  const auto number = static_cast<uint32_t>(fallback.size());
  Require(GetPrivateProfileInt(section, key, number, path) == LiteralProfile::Int(section, key, number, path),
          "the number is the literal reader's");
  return 0;
}
