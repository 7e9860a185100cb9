// Encodes texts for use in URLs.
#pragma once

#include <string>

// Returns the bytes of `text`, up to its NUL, in percent-encoding. Letters, digits, '-', '.', '_' and '~' stay as they
// are, whatever the locale; every other byte becomes '%' and two upper-case hexadecimal digits. A space is "%20", never
// '+', and UTF-8 text is encoded byte by byte.
//
// '/' stays, too, unless `encode_slash` says otherwise: a whole path keeps its slashes, one component of it must not.
//
// `text` must not be null. Throws only what allocation throws; safe to call from any thread.
//
//   URLEncode("a b/c~", false)  // "a%20b/c~"
//   URLEncode("a b/c~", true)   // "a%20b%2Fc~"
std::string URLEncode(const char* text, bool encode_slash);
