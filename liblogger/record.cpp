#include "liblogger/record.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "liblogger/calendar.h"

// Appends to a buffer that is large enough by construction. Not `snprintf`: the columns are written for every record,
// and by hand they cost a tenth.
struct Writer {
  char* end;

  void Byte(char byte) { *end++ = byte; }
  void Bytes(const char* bytes, size_t length) {
    memcpy(end, bytes, length);
    end += length;
  }
  void Text(const char* text) { Bytes(text, strlen(text)); }
  void TwoDigits(uint32_t number, char after) {
    *end++ = static_cast<char>('0' + number / 10);
    *end++ = static_cast<char>('0' + number % 10);
    *end++ = after;
  }
  // Right-aligned in a column of `width`; a longer number makes its column wider.
  void Number(uint64_t number, ptrdiff_t width, char padding) {
    ptrdiff_t digits = 1;
    for (uint64_t rest = number; rest >= 10; rest /= 10) ++digits;
    char* const column = end;
    end += std::max(digits, width);
    char* position = end;
    for (; digits > 0; --digits) {
      *--position = static_cast<char>('0' + number % 10);
      number /= 10;
    }
    while (position > column) *--position = padding;
  }
};

static const char* LevelName(LOGLEVEL level) {
  switch (level) {
    case LOGLEVEL_DEBUG:
      return "DEBUG";
    case LOGLEVEL_MESSAGE:
      return "MESSAGE";
    case LOGLEVEL_WARNING:
      return "WARNING";
    case LOGLEVEL_ERROR:
      return "ERROR";
    case LOGLEVEL_CRITICAL:
      return "CRITICAL";
    case LOGLEVEL_VERBOSE:
      return "VERBOSE";
  }
  return nullptr;
}

static void WriteLevel(LOGLEVEL level, Writer& out) {
  constexpr ptrdiff_t kColumnWidth = 8;
  char* const column = out.end;
  const char* const name = LevelName(level);
  if (name != nullptr) {
    out.Text(name);
  } else {
    const auto number = static_cast<int64_t>(level);
    if (number < 0) out.Byte('-');
    out.Number(static_cast<uint64_t>(number < 0 ? -number : number), 0, ' ');
  }
  while (out.end - column < kColumnWidth) out.Byte(' ');
}

static void WriteTime(const timespec& time, int64_t utc_offset_seconds, Writer& out) {
  constexpr uint32_t kHourSeconds = 3600;
  constexpr uint32_t kMinuteSeconds = 60;
  const int64_t local = static_cast<int64_t>(time.tv_sec) + utc_offset_seconds;
  const int64_t days = DaysFromSeconds(local);
  const Date date = DateFromDays(days);
  const auto clock = static_cast<uint32_t>(local - days * kDaySeconds);
  const auto offset = static_cast<uint32_t>(utc_offset_seconds < 0 ? -utc_offset_seconds : utc_offset_seconds);

  out.Number(static_cast<uint64_t>(std::max<int64_t>(date.year, 0)), 4, '0');
  out.Byte('-');
  out.TwoDigits(date.month, '-');
  out.TwoDigits(date.day, 'T');
  out.TwoDigits(clock / kHourSeconds, ':');
  out.TwoDigits(clock % kHourSeconds / kMinuteSeconds, ':');
  out.TwoDigits(clock % kMinuteSeconds, '.');
  out.Number(static_cast<uint32_t>(time.tv_nsec) / 1000000, 3, '0');
  out.Byte(utc_offset_seconds < 0 ? '-' : '+');
  out.TwoDigits(offset / kHourSeconds, ':');
  out.TwoDigits(offset % kHourSeconds / kMinuteSeconds, ' ');
}

static void WriteColumns(const RecordOrigin& origin, Writer& out) {
  WriteTime(origin.time, origin.utc_offset_seconds, out);
  WriteLevel(origin.level, out);
  out.Byte(' ');
  out.Bytes(origin.module, strnlen(origin.module, kLongestModuleBytes));
  out.Byte(' ');
  out.Number(static_cast<uint64_t>(origin.process), 8, ' ');
  out.Byte(' ');
  out.Number(origin.thread, 8, ' ');
  out.Byte(' ');
}

static bool IsBetween(unsigned char byte, int low, int high) { return byte >= low && byte <= high; }

// Whether the three bytes are a character that ends a line, or turns the text around it in another direction: U+200E,
// U+200F, U+2028 to U+202E, U+2066 to U+2069. A terminal that honours them shows something else than what is written.
static bool IsInvisibleControl(unsigned char first, unsigned char second, unsigned char third) {
  if (first != 0xE2) return false;
  if (second == 0x80) return IsBetween(third, 0x8E, 0x8F) || IsBetween(third, 0xA8, 0xAE);
  return second == 0x81 && IsBetween(third, 0xA6, 0xA9);
}

// The length in bytes of the character at the start of `text`, or 0 if it is a control character or not well-formed
// UTF-8.
static size_t ShownCharacterBytes(const char* text, size_t available) {
  const auto byte = [text](size_t index) { return static_cast<unsigned char>(text[index]); };
  const unsigned char lead = byte(0);
  if (lead < 0x80) return lead >= 0x20 && lead != 0x7F ? 1 : 0;
  if (lead < 0xC2 || lead > 0xF4) return 0;
  const size_t wanted = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  if (available < wanted) return 0;
  // The second byte's range excludes overlong forms, surrogates, what lies above U+10FFFF and the control characters
  // from U+0080 to U+009F.
  const int low = lead == 0xC2 || lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  const int high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  if (!IsBetween(byte(1), low, high)) return 0;
  for (size_t i = 2; i < wanted; ++i) {
    if (!IsBetween(byte(i), 0x80, 0xBF)) return 0;
  }
  const bool is_arabic_mark = lead == 0xD8 && byte(1) == 0x9C;  // U+061C turns the direction, too.
  return is_arabic_mark || (wanted == 3 && IsInvisibleControl(lead, byte(1), byte(2))) ? 0 : wanted;
}

static void WriteEscape(char byte, Writer& out) {
  static constexpr char kHexDigits[] = "0123456789ABCDEF";
  switch (byte) {
    case '\n':
      out.Text("\\n");
      break;
    case '\t':
      out.Text("\\t");
      break;
    case '\r':
      out.Text("\\r");
      break;
    default:
      out.Text("\\x");
      out.Byte(kHexDigits[static_cast<unsigned char>(byte) >> 4]);
      out.Byte(kHexDigits[byte & 0x0F]);
  }
}

// The length of the text's start that consists of printable ASCII characters.
static size_t PlainBytes(const char* text, size_t length) {
  size_t plain = 0;
  while (plain < length && text[plain] >= 0x20 && text[plain] < 0x7F) ++plain;
  return plain;
}

// Writes the characters of `text` that end within its first `kLongestMessageBytes`, and the mark if there are more.
static void WriteMessage(const char* text, size_t length, Writer& out) {
  const size_t shown = std::min(length, kLongestMessageBytes);
  size_t position = 0;
  while (position < shown) {
    const size_t plain = PlainBytes(text + position, shown - position);
    out.Bytes(text + position, plain);
    position += plain;
    if (position == shown) break;
    const size_t character = ShownCharacterBytes(text + position, length - position);
    if (position + character > kLongestMessageBytes) break;
    if (character > 0) {
      out.Bytes(text + position, character);
      position += character;
    } else {
      WriteEscape(text[position++], out);
    }
  }
  if (position < length) out.Text(" [cut]");
}

size_t FormatRecord(const RecordOrigin& origin, const char* format, va_list arguments, char* record) {
  Writer out{record};
  WriteColumns(origin, out);
  if (format == nullptr) {
    out.Text("(null)");
  } else {
    // With the bytes behind the longest message, `WriteMessage` sees whether it is cut, and whether the last character
    // that fits is whole: a character has four bytes at most.
    constexpr size_t kNeededBytes = kLongestMessageBytes + 4;
    char message[kNeededBytes + 1];
    const int wanted = vsnprintf(message, sizeof(message), format, arguments);
    if (wanted >= 0) {
      WriteMessage(message, std::min(static_cast<size_t>(wanted), kNeededBytes), out);
    } else {
      out.Text("(unformattable) ");
      WriteMessage(format, strnlen(format, kNeededBytes), out);
    }
  }
  out.Byte('\n');
  return static_cast<size_t>(out.end - record);
}

size_t FormatLossRecord(const RecordOrigin& origin, uint64_t count, int error, char* record) {
  Writer out{record};
  RecordOrigin own = origin;
  own.level = LOGLEVEL_ERROR;
  WriteColumns(own, out);
  out.Text("[LOGGER    ] ");
  out.Number(count, 0, ' ');
  out.Text(count == 1 ? " record lost, errno " : " records lost, errno ");
  out.Number(static_cast<uint64_t>(error), 0, ' ');
  out.Byte('\n');
  return static_cast<size_t>(out.end - record);
}
