#include "common/strings/format.h"

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <memory>
#include <new>

#include "common/strings/format_locale.h"

// The format comes from the caller of these functions, so that no literal can be there to check against.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"

std::string string_format(std::string format, ...) {
  if (format.find('%') == std::string::npos && format.size() <= INT_MAX) {
    format.resize(strlen(format.c_str()));
    return format;
  }

  // Large enough for most texts, which are then formatted once.
  char short_text[4096];
  va_list arguments;
  va_start(arguments, format);
  const int length = vsnprintf(short_text, sizeof(short_text), format.c_str(), arguments);
  va_end(arguments);
  if (length < 0) return "";
  if (static_cast<size_t>(length) < sizeof(short_text)) return short_text;

  std::string text(static_cast<size_t>(length), '\0');
  va_start(arguments, format);  // Afresh: the first call has used the list up.
  const int written = vsnprintf(text.data(), text.size() + 1, format.c_str(), arguments);
  va_end(arguments);
  if (written < 0) return "";
  text.resize(strlen(text.c_str()));
  return text;
}

#pragma GCC diagnostic pop

// `vswprintf` cannot measure, and when it fails, no platform tells reliably whether the buffer was too small or the
// text cannot be formatted at all, so that growing the buffer until it succeeds might not end. A stream in memory
// grows by itself, and its failures are real ones.
std::wstring wstring_format(std::wstring format, ...) {
  const std::shared_ptr<void> locale = EnterFormatLocale();  // Until the stream is closed.
  wchar_t* text = nullptr;
  size_t length = 0;
  FILE* stream = open_wmemstream(&text, &length);
  if (stream == nullptr) throw std::bad_alloc();

  va_list arguments;
  va_start(arguments, format);
  const int count = vfwprintf(stream, format.c_str(), arguments);
  const bool out_of_memory = count < 0 && errno == ENOMEM;
  va_end(arguments);
  const bool complete = fclose(stream) == 0;  // `text` and `length` are valid from here on.
  const std::unique_ptr<wchar_t, void (*)(void*)> owner(text, &free);
  if (out_of_memory || (count >= 0 && !complete)) throw std::bad_alloc();
  return count < 0 ? L"" : text;
}
