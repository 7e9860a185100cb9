#include "common/strings/format.h"

#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <memory>
#include <new>

// The format comes from the caller of these functions, so that no literal can be there to check against.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"

std::string string_format(std::string format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int length = vsnprintf(nullptr, 0, format.c_str(), arguments);
  va_end(arguments);
  if (length < 0) return "";

  const size_t buffer_bytes = static_cast<size_t>(length) + 1;
  const std::unique_ptr<char[]> buffer(new char[buffer_bytes]);
  va_start(arguments, format);  // Afresh: the measuring call has used the list up.
  const int written = vsnprintf(buffer.get(), buffer_bytes, format.c_str(), arguments);
  va_end(arguments);
  return written < 0 ? "" : buffer.get();
}

#pragma GCC diagnostic pop

// `vswprintf` cannot measure, and when it fails, no platform tells reliably whether the buffer was too small or the
// text cannot be formatted at all, so that growing the buffer until it succeeds might not end. A stream in memory
// grows by itself, and its failures are real ones.
std::wstring wstring_format(std::wstring format, ...) {
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
