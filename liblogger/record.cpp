#include "liblogger/record.h"

#include <cstdio>
#include <cstring>

// Appends to a buffer that is large enough by construction.
struct Writer {
  char* end;

  void Text(const char* text) {
    const size_t length = strlen(text);
    memcpy(end, text, length);
    end += length;
  }
  void Byte(char byte) { *end++ = byte; }
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

// The calendar date of a day counted from 1970-01-01, in the proleptic Gregorian calendar. Done by arithmetic, because
// the C library's time functions take a lock, which a forked child may find held for ever.
static void CivilFromDays(int64_t days, int64_t& year, int& month, int& day) {
  const int64_t since_march_0000 = days + 719468;  // Years begin in March here, so that leap days end them.
  const int64_t era = (since_march_0000 >= 0 ? since_march_0000 : since_march_0000 - 146096) / 146097;
  const int64_t day_of_era = since_march_0000 - era * 146097;
  const int64_t year_of_era = (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
  const int64_t day_of_year = day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const int64_t march_month = (5 * day_of_year + 2) / 153;
  day = static_cast<int>(day_of_year - (153 * march_month + 2) / 5 + 1);
  month = static_cast<int>(march_month < 10 ? march_month + 3 : march_month - 9);
  year = year_of_era + era * 400 + (month <= 2 ? 1 : 0);
}

static void WriteColumns(const RecordOrigin& origin, Writer& out) {
  constexpr int64_t kDaySeconds = 86400;
  const int64_t local = static_cast<int64_t>(origin.time.tv_sec) + origin.utc_offset_seconds;
  int64_t days = local / kDaySeconds;
  int64_t second_of_day = local % kDaySeconds;
  if (second_of_day < 0) {
    second_of_day += kDaySeconds;
    --days;
  }
  int64_t year = 0;
  int month = 0;
  int day = 0;
  CivilFromDays(days, year, month, day);
  const auto clock = static_cast<int>(second_of_day);
  const auto offset_minutes = static_cast<int>(origin.utc_offset_seconds / 60);
  const int distance = offset_minutes < 0 ? -offset_minutes : offset_minutes;

  const char* level = LevelName(origin.level);
  char number[16];
  if (level == nullptr) {
    (void)snprintf(number, sizeof(number), "%d", static_cast<int>(origin.level));
    level = number;
  }
  char columns[224];
  (void)snprintf(columns, sizeof(columns), "%04lld-%02d-%02dT%02d:%02d:%02d.%03d%c%02d:%02d %-8s %.64s %8lld %8llu ",
                 static_cast<long long>(year), month, day, clock / 3600, clock / 60 % 60, clock % 60,
                 static_cast<int>(origin.time.tv_nsec / 1000000), offset_minutes < 0 ? '-' : '+', distance / 60,
                 distance % 60, level, origin.module, static_cast<long long>(origin.process),
                 static_cast<unsigned long long>(origin.thread));
  out.Text(columns);
}

static void WriteEscaped(const char* text, size_t length, Writer& out) {
  static constexpr char kHexDigits[] = "0123456789ABCDEF";
  for (size_t i = 0; i < length; ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte >= 0x20 && byte != 0x7F) {
      out.Byte(text[i]);
    } else if (byte == '\n') {
      out.Text("\\n");
    } else if (byte == '\t') {
      out.Text("\\t");
    } else if (byte == '\r') {
      out.Text("\\r");
    } else {
      out.Text("\\x");
      out.Byte(kHexDigits[byte >> 4]);
      out.Byte(kHexDigits[byte & 0x0F]);
    }
  }
}

// The length of `text` without a UTF-8 character that is cut off at its end.
static size_t WithoutCutCharacter(const char* text, size_t length) {
  size_t start = length;
  while (start > 0 && length - start < 3 && (static_cast<unsigned char>(text[start - 1]) & 0xC0) == 0x80) --start;
  if (start == 0) return length;
  const auto lead = static_cast<unsigned char>(text[start - 1]);
  const size_t wanted = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 1;
  const size_t present = length - start + 1;
  return present < wanted ? start - 1 : length;
}

size_t FormatRecord(const RecordOrigin& origin, const char* format, va_list arguments,
                    char (&record)[kLongestRecordBytes]) {
  Writer out{record};
  WriteColumns(origin, out);

  char message[kLongestMessageBytes + 1];
  const int wanted = vsnprintf(message, sizeof(message), format, arguments);
  if (wanted < 0) {
    out.Text("(unformattable) ");
    const size_t length = strnlen(format, kLongestMessageBytes);
    WriteEscaped(format, length, out);
  } else if (static_cast<size_t>(wanted) <= kLongestMessageBytes) {
    WriteEscaped(message, static_cast<size_t>(wanted), out);
  } else {
    WriteEscaped(message, WithoutCutCharacter(message, kLongestMessageBytes), out);
    out.Text(" [cut]");
  }
  out.Byte('\n');
  return static_cast<size_t>(out.end - record);
}
