// Reads single values from small INI files. Each call opens, scans and closes the file; nothing is cached or written,
// no lock is taken. Safe to call from several threads at once.
//
// The file is read in lines of at most 2047 bytes; a longer line counts as several. Each is trimmed, then:
//   [SECTION]   starts a section; blanks inside the brackets don't count
//   KEY=VALUE   inside a section. The key ends directly before the first '=', a blank before it included, so that
//               "LEVEL = DEBUG" does not set LEVEL. The value is what stands between the first '=' and the second
//               or the end of the line, blanks and quotes included.
// Names match without regard to ASCII case. There are no comments, escapes or continuation lines; a line of another
// form is passed over, and so is one with nothing after its first '='. Only the first section of a name counts, and in
// it the first line with the key. Text behind a NUL byte in a line is ignored, and a byte-order mark hides a section
// header behind it.
//
// A FOLDER IN THE PLACE OF THE FILE IS READ FOR EVER: opening it succeeds, and it has no end. The call never returns.
// So it is with a device that has no end; and for a FIFO the call waits until somebody writes to it.
#pragma once

#include <cstdint>
#include <string>

// Copies the value of `key` in `[section]` of the file `path` into the `size` bytes at `buffer`, with a NUL, and
// returns its length in bytes, the NUL not counted. Blanks around `section` don't count, around `key` they do.
//
// A missing file, section or key, an empty value ("KEY==x") and one that does not fit all give `fallback` instead. If
// that does not fit either, returns 0 and leaves `buffer` alone (an empty value has emptied it by then). Returns 0 at
// once when `buffer` is null or `size` is 0. A negative `size` counts as unlimited.
//
//   char level[16];
//   GetPrivateProfileString("LOG", "LEVEL", "ERROR", level, sizeof(level), path);
uint64_t GetPrivateProfileString(std::string section, std::string key, std::string fallback, char* buffer, int32_t size,
                                 std::string path);

// Returns the value of `key` in `[section]` of the file `path` as a number: blanks, an optional sign and decimal digits
// up to the first other character. Of a number beyond 32 bits the low 32 count, so that -1 gives 4294967295; one beyond
// the range of `long` counts as the nearest in it.
//
// A missing file, section or key gives `fallback`. A key whose value is empty or not a number gives 0, unlike the text
// variant.
//
//   const uint32_t days = GetPrivateProfileInt("LOG", "KEEP_DAYS", 7, path);
uint32_t GetPrivateProfileInt(std::string section, std::string key, uint32_t fallback, std::string path);
