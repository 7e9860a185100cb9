// Converts between UTF-8 bytes and wide text, one code point a `wchar_t`. This is the only place that does.
//
// The rules are the strict ones, the same on every platform: code points from 0 to 0x10FFFF without the surrogates
// (0xD800 to 0xDFFF), each in its shortest form. A byte-order mark is an ordinary character (U+FEFF), neither removed
// nor added. Bad input throws `std::range_error`, and nothing is converted then: no replacement characters, no
// partial result.
//
// All functions are pure and safe to call from any thread.
#pragma once

#include <string>

// Returns the wide form of the UTF-8 bytes in `text`, embedded NUL bytes included.
//
// Throws std::range_error("wstring_convert: from_bytes error") on malformed, truncated or overlong sequences, on
// encoded surrogates and on code points above 0x10FFFF.
//
//   s2ws("\xC3\xA9")  // L"\u00E9", one character
std::wstring s2ws(const std::string& text);

// Returns the UTF-8 form of `text`, embedded NUL characters included.
//
// Throws std::range_error("wstring_convert: to_bytes error") on surrogates and on values above 0x10FFFF.
std::string ws2s(const std::wstring& text);

// Like `ws2s`, for the characters before the first NUL. `text` must not be null.
std::string wchar2utf8(const wchar_t* text);
