// Reads JSON and keeps where everything stands, which the application's JSON type (common/json) does not.
//
// It takes and refuses exactly the texts that the application's reader takes and refuses, its leniences included:
// comments, numbers like 01, and a few oddities. Tests and a fuzz target hold the two together; a difference is a fault
// of this file. It also notes what the other passes over in silence (see JsonRemark).
//
// All functions are pure and safe to call from any thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

struct JsonMember;

struct JsonValue {
  enum class Kind { kNull, kBoolean, kNumber, kText, kArray, kObject };
  Kind kind = Kind::kNull;
  size_t begin = 0;  // Offsets in bytes of the first one, and of the one behind the last.
  size_t end = 0;
  std::string text;  // A text decoded, of a number and a truth value the spelling.

  // Of an object: its members in the order of the file, those that don't count included. Kept for objects in objects
  // down to the third level, counted from the document's own; deeper ones and the elements of arrays are read but not
  // kept.
  std::vector<JsonMember> members;
};

struct JsonMember {
  std::string name;  // Decoded.
  size_t begin = 0;  // Where the name stands, with its quotes.
  size_t end = 0;
  bool counts = true;  // Of members with one name only the last does.
  JsonValue value;
};

// What the reader takes in silence although it is not what it looks like.
struct JsonRemark {
  enum class Kind {
    kMemberTwice,  // At the name of the one that does not count.
    kNotUtf8,      // At the text, which may be a member's name.
    kNotStandard,  // Not JSON, comments aside.
  };
  Kind kind;
  size_t offset = 0;
  std::string text;        // The name, the text, or a sentence that says what is not JSON.
  size_t twin_offset = 0;  // Of kMemberTwice: the name of the one that comes next in its place.
};

struct JsonDocument {
  bool parsed = false;
  JsonValue root;
  size_t end = 0;  // Behind the root, when parsed; whatever follows is passed over.
  std::vector<JsonRemark> remarks;

  // When not parsed: where and why, a whole sentence.
  size_t error_offset = 0;
  std::string error;
  bool too_deep = false;  // More than 1000 levels of nesting.
  bool at_end = false;    // The text ends too early: something is not closed, or missing.
};

// Reads `text`, which holds no NUL: the launcher cuts a list at its first.
JsonDocument ReadJson(std::string_view text);

// Returns the offset of the first byte at or behind `offset` that is neither blank nor part of a comment; the size of
// the text if there is none. A comment that is not closed counts as text.
size_t SkipBlanksAndComments(std::string_view text, size_t offset);

// Turns offsets into lines and columns, both counted from 1. Lines end at line feeds. Columns count characters, and a
// byte that is not part of well-formed UTF-8 counts as one.
class TextPlaces {
 public:
  // Views `bytes`, which must outlive the object.
  explicit TextPlaces(std::string_view bytes);

  struct Place {
    size_t line;
    size_t column;
  };
  // An offset at or behind the end gives the place behind the last byte.
  Place At(size_t offset) const;

  // The line's bytes without its end.
  std::string_view Line(size_t line) const;

 private:
  size_t CharacterIndex(size_t offset) const;

  std::string_view bytes;
  std::vector<size_t> line_starts;
  // One every few bytes, so that the columns of a long line need no walk from its start.
  struct Checkpoint {
    size_t offset;
    size_t character;
  };
  std::vector<Checkpoint> checkpoints;
};
