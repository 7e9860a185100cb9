// Formats values into strings, in the manner of `printf` and of any length.
//
// The compiler does not check the arguments against `format`, so each must have the type that its conversion says;
// texts are passed as pointers (`name.c_str()`), never as string objects. Text that conversions turn from wide to
// narrow or back goes through the current locale, which in the application's programs is "C"; `wstring_format` on macOS
// always reads narrow text as UTF-8.
//
// Both functions read `format` up to its first NUL, and the result ends before the first NUL that a conversion
// produces: string_format("a%cb", 0) is "a". When the text cannot be formatted (a character that the locale does not
// know, a width beyond the range of `int`, more characters than an `int` counts), the result is empty.
//
// Throws only what allocation throws. Safe to call from any thread, but not between `fork` and `execv`.
#pragma once

#include <string>

// Returns the narrow text.
//
//   string_format("%s: %d of %d", name.c_str(), 3, 8)
std::string string_format(std::string format, ...);

// Returns the wide text. Here "%ls" takes wide text and "%s" narrow text, as in `wprintf`.
//
//   wstring_format(L"%ls: %d of %d", name.c_str(), 3, 8)
std::wstring wstring_format(std::wstring format, ...);
