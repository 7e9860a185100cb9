// The application's JSON type: a handle on a value that either owns a document or views a value inside another one.
//
// - An owning document comes from the text constructors, from `GetEmptyObject`, and from copying or assigning another
//   owning document that is not null.
// - A view comes from `GetObject`, `operator[]`, `Copy` and the `Json::Value&` constructor. Writing through a view
//   changes the document: that is what it is for.
//
//   JsonObject list(text.data(), static_cast<unsigned int>(text.size()));
//   if (list.HasObject("0/name")) std::string name = list.GetObject("0/name");
//
// HOW LONG A VIEW LIVES. A view does not keep its document alive and must not outlive it. Using a view is undefined as
// soon as the value that it views is gone:
// - its document, or a value around it, is assigned to or replaced by `Insert`. (The new value of the very place that a
//   view shows is seen through it.)
// - its member, or one around it, is removed.
// - its array loses an element: the later elements move down, so that their views show the next neighbour, and the view
//   of the last one is dead.
// Adding members and elements leaves other views alive.
//
// TRAPS. A view is assigned and copied like a reference, not like a value:
// - `list["k"] = document` turns the temporary view into a copy of the document; the list only gains a null at "k".
//   Write `list["k"] = document.Copy()`, or `list.Insert("k", document)`.
// - `Insert("k", "text")` parses its text as JSON. A JSON string is `Insert("k", L"text")` or
//   `list["k"] = std::string("text")`.
// - `InsertArrayItem(list["k"])` appends the value's text, since a temporary can't bind to `JsonObject&`. Give the view
//   a name first.
// - Whatever moves objects by assigning them writes through views: `std::swap`, `erase` and `insert` of a vector,
//   a `std::optional` or a map's entry that is assigned a second time.
// - The copy of a document that holds null views that document. So does a vector's element after the vector has grown:
//   it views the null where it lay before, which is gone. Keep null documents out of vectors.
//
// WHAT DOES NOT COMPILE, and what to write instead:
//   list["k"] = 5, list["k"] = "x"   list.Insert("k", JsonObject("5")), list["k"] = std::string("x")
//   std::string s; s = list["k"];    std::string s = list["k"], or s = static_cast<std::string>(list["k"])
//   uint64_t n = list["k"];          static_cast<unsigned long long>(list["k"]), where uint64_t is another type (Linux)
//   char key[8]; list[key]           list[static_cast<const char*>(key)]
//   const JsonObject c(list); c["k"] JsonObject c(list): operator[] may add the member
//
// Errors: `AERROR` values, thrown bare, for texts that don't parse and for missing paths. What the JSON library finds
// wrong by itself (a conversion that a value's kind does not allow, a step into a value that is not an object, a
// negative index, more than 1000 levels of nesting) leaves as its own exceptions, derived from `Json::Exception`. Null
// pointers are the caller's error, except where a null is described.
//
// Threads: a document and all its views belong to one thread at a time. That goes for reading too, since `operator[]`
// may add members. Different documents are independent. Reading, editing and copying take no lock, so they may also be
// done between `fork` and `execv`, as long as the process has used the class before.
#pragma once

#include <json/value.h>

#include <string>
#include <vector>

#include "common/json/aerror.h"

class JsonObject {
 public:
  // Parses the `length` bytes at `text`, which need no NUL and of which none beyond is read. Throws AERROR_JSON_PARSE.
  JsonObject(const char* text, unsigned int length);

  // Parses the NUL-terminated `text`; comments in it are kept for `ToStyledText`. A null pointer gives a document that
  // holds null. Throws AERROR_JSON_PARSE.
  JsonObject(const char* text);

  // Views `value`.
  JsonObject(Json::Value& value);

  // Copies the document if `other` owns one that is not null. Otherwise the new object views what `other` targets: the
  // same value if `other` is a view, and `other`'s own null, which it must then not outlive, if it owns a null
  // document.
  JsonObject(const JsonObject& other);

  // Leaves a viewed document alone.
  virtual ~JsonObject();

  // Returns a new document that holds an empty object.
  static JsonObject GetEmptyObject();

  // If `other` owns a document that is not null, this object becomes an independent copy of it; a document that it
  // viewed before keeps its value. Otherwise the value that `other` targets is copied over this object's target: a view
  // writes into its document, a document replaces its content.
  JsonObject& operator=(const JsonObject& other);

  // Replaces the target with `text` as a JSON string. The text is not parsed.
  JsonObject& operator=(std::string text);

  // --- Questions

  // False for a null value.
  bool IsValid() const;
  bool IsArray() const;

  // Elements of an array, members of an object, 0 for anything else.
  Json::ArrayIndex GetArraySize() const;

  // Returns whether every member that `path` names exists, one inside the other; their values may be null. Members are
  // separated by '/', and empty ones don't count: "a/b" is "/a//b/", and "" or "/" is the target itself. Names match
  // exactly; a name with a '/' can't be reached. Null has no members, while asking an array, a text, a number or a
  // truth value for one throws. Changes nothing.
  bool HasObject(const char* path) const;

  // Returns a view of the value that `path` names, with the rules of `HasObject`. Throws AERROR_PATH_NOT_FOUND when it
  // does not exist. Changes nothing.
  JsonObject GetObject(const char* path);

  // Return a view of an element or member, which is added with the value null where it is missing: these may change the
  // document. A null target becomes an array or an object first; an array grows up to the index. A target of another
  // kind and a negative index throw, and nothing is changed.
  JsonObject operator[](int index);
  JsonObject operator[](const char* key);

  // Without these, the compiler would take the object for the index and the key for the array, as in `"key"[1]`.
  JsonObject operator[](int index) const = delete;
  template <typename Character>
  JsonObject operator[](const Character* key) const = delete;

  // --- Conversions of the target. Null gives empty text, 0 and false.
  //
  // Numbers and truth values convert to each other, a fraction being cut off, and to text; text only to text; arrays
  // and objects to nothing. What does not convert throws, and so does a number beyond the range of the 64-bit type that
  // is asked for. One real number just beyond each upper end does not: 9223372036854775808.0 as a signed and
  // 18446744073709551616.0 as an unsigned number give what the processor makes of them.
  //
  //   const int pause_seconds = item.GetObject("pause");

  // Text ends at its first NUL byte.
  operator std::string() const;
  // Throws std::range_error("wstring_convert: from_bytes error") when the text is not UTF-8.
  operator std::wstring() const;
  operator unsigned long long() const;
  operator long long() const;
  operator long() const;
  // The low 32 bits of the 64-bit number, without a range check.
  operator int() const;
  operator AERROR() const;
  operator double() const;
  operator bool() const;

  // --- Editing. Values are copied. A null target of an insertion becomes an object or an array first; one of another
  // kind throws, and nothing is changed.

  // Sets the member `key`, replacing an existing one. Always true. The wide form throws
  // std::range_error("wstring_convert: to_bytes error"), the document unchanged, for text that UTF-8 can't hold.
  bool Insert(const char* key, const JsonObject& value);
  bool Insert(const char* key, const std::wstring& value);

  // Appends an element. Always true.
  bool InsertArrayItem(std::string value);
  bool InsertArrayItem(JsonObject& item);

  // Remove an element (of its index the low 32 bits count; later ones move down) or a member. False, and nothing
  // changed, when it does not exist or the target is of another kind. Elements that `operator[]` has grown an array
  // over show as null and are counted, but do not exist until they are indexed themselves: they can't be removed, and
  // those right before the last element vanish with it.
  bool RemoveArrayItem(unsigned long index);
  bool Remove(const char* key);

  // Returns the names of the target's members, ascending by bytes: none for null. A target of another kind throws.
  std::vector<std::string> GetKeys() const;

  // Returns a view of the target. Despite its name it copies nothing.
  JsonObject Copy();

  // --- Text, without blanks at its ends: on one line, or indented on several. Change nothing.
  std::string ToText() const;
  std::string ToStyledText() const;

 private:
  // The value that every operation works on; points at `own_value` or into another document, and is never null.
  Json::Value* target;
  // Null unless this object owns a document.
  Json::Value own_value;
};
