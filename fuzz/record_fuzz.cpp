// The log record's formatter beside a model that decodes UTF-8 in the plainest way: whatever a message holds, a record
// is the line that the model says.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

#include "fuzz/require.h"
#include "liblogger/record.h"

__attribute__((format(printf, 2, 3))) static std::string Format(const RecordOrigin& origin, const char* format, ...) {
  std::vector<char> record(kLongestRecordBytes);  // On the heap, where a byte too many is found.
  va_list arguments;
  va_start(arguments, format);
  const size_t length = FormatRecord(origin, format, arguments, record.data());
  va_end(arguments);
  return {record.data(), length};
}

// Decodes the character at `position`; returns its length, or 0 where there is no well-formed one.
static size_t Decode(const std::string& text, size_t position, uint32_t& code_point) {
  const auto lead = static_cast<unsigned char>(text[position]);
  const size_t length = lead < 0x80 ? 1 : lead >> 5 == 0x06 ? 2 : lead >> 4 == 0x0E ? 3 : lead >> 3 == 0x1E ? 4 : 0;
  if (length == 0 || position + length > text.size()) return 0;
  code_point = length == 1 ? lead : lead & (0x7FU >> length);
  for (size_t i = 1; i < length; ++i) {
    const auto next = static_cast<unsigned char>(text[position + i]);
    if (next >> 6 != 0x02) return 0;
    code_point = code_point << 6 | (next & 0x3FU);
  }
  const uint32_t shortest[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool is_surrogate = code_point >= 0xD800 && code_point <= 0xDFFF;
  return code_point < shortest[length] || code_point > 0x10FFFF || is_surrogate ? 0 : length;
}

static bool IsShown(uint32_t code_point) {
  const struct {
    uint32_t first;
    uint32_t last;
  } hidden[] = {{0, 0x1F},        {0x7F, 0x9F},     {0x061C, 0x061C}, {0x200E, 0x200F},
                {0x2028, 0x2029}, {0x202A, 0x202E}, {0x2066, 0x2069}};
  for (const auto& range : hidden) {
    if (code_point >= range.first && code_point <= range.last) return false;
  }
  return true;
}

static std::string EscapeOf(char byte) {
  if (byte == '\n') return "\\n";
  if (byte == '\t') return "\\t";
  if (byte == '\r') return "\\r";
  char escape[8];
  (void)snprintf(escape, sizeof(escape), "\\x%02X", static_cast<unsigned char>(byte));
  return escape;
}

static std::string Model(const std::string& message) {
  std::string shown;
  size_t position = 0;
  while (position < message.size()) {
    uint32_t code_point = 0;
    const size_t length = Decode(message, position, code_point);
    if (length > 0 && IsShown(code_point)) {
      if (position + length > kLongestMessageBytes) break;
      shown += message.substr(position, length);
      position += length;
    } else {
      if (position + 1 > kLongestMessageBytes) break;
      shown += EscapeOf(message[position++]);
    }
  }
  return position < message.size() ? shown + " [cut]" : shown;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider input(data, size);
  const std::string module = input.ConsumeRandomLengthString(kLongestModuleBytes);
  const RecordOrigin origin = {{input.ConsumeIntegral<int32_t>(), input.ConsumeIntegralInRange<long>(0, 999999999)},
                               input.ConsumeIntegralInRange<long>(-86400, 86400),
                               static_cast<LOGLEVEL>(input.ConsumeIntegral<int>()),
                               module.c_str(),
                               input.ConsumeIntegralInRange<pid_t>(0, 2147483647),
                               input.ConsumeIntegral<uint64_t>()};
  const int repeats = input.ConsumeIntegralInRange<int>(1, 200);
  const std::string piece = input.ConsumeRemainingBytesAsString();
  std::string message;
  for (int i = 0; i < repeats && message.size() < 3 * kLongestMessageBytes; ++i) message += piece;
  message = message.substr(0, message.find('\0'));

  const std::string columns = Format(origin, "%s", "");
  const std::string record = Format(origin, "%s", message.c_str());
  Require(record == columns.substr(0, columns.size() - 1) + Model(message) + "\n", "the record is what the model says");
  Require(record.size() <= kLongestRecordBytes, "a record fits its buffer");
  Require(Format(origin, "%.*s%c%d", 3, "abcd", 0, 7).find("abc\\x007\n") != std::string::npos,
          "formats are formatted");
  return 0;
}
