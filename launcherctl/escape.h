// Shows texts that nobody vouches for: names, paths and log lines may hold any byte, and a terminal, a browser or a
// mail program must not act on one.
//
// All functions are pure and safe to call from any thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// Returns the text for people, on one line: control characters, those of the text's direction (U+061C, U+200E, U+200F,
// U+202A to U+202E, U+2066 to U+2069), the line and paragraph separators (U+2028, U+2029) and bytes that are not
// well-formed UTF-8 are written as escapes, as in the log: \n, \t, \r, and \xHH for every other byte. A backslash stays
// as it is.
//
//   ShownText("a\x1b[2J")  // "a\x1B[2J", eight printable characters
std::string ShownText(std::string_view text);

// Returns the text in quotes, for sentences: "a\x1B[2J".
std::string Quoted(std::string_view text);

// Returns the text, or the beginning of one that has more than 80 bytes, whole characters with "..." behind. To be
// shown, it still has to be escaped, or is escaped already.
std::string Shortened(std::string_view text);

// Returns the text for JSON: as it is, so that programs find the names that they know, but every byte that is not
// well-formed UTF-8 is written as \xHH, because JSON can't hold it.
std::string JsonText(std::string_view text);

// Returns the length in bytes of the well-formed UTF-8 character that `text` begins with, or 0 if it begins with none;
// control characters are characters here. `text` is not empty.
size_t CharacterBytes(std::string_view text);

// Whether the character, which is a whole one, is shown as an escape.
bool IsHidden(std::string_view character);

bool IsUtf8(std::string_view text);

// The number of characters; a byte that belongs to none counts as one.
size_t CountCharacters(std::string_view text);
