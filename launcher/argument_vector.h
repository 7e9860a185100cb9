// The argument vector of a program, as `execv` takes it, made from an item of the launch list.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "common/json/json_object.h"

// Holds argv[0] and copies of the item's arguments. Lives on the stack of a forked child, and so does the vector unless
// it is long. For one thread at a time.
class ArgumentVector {
 public:
  // No system passes more arguments: Linux takes 6 MiB at most, macOS 1 MiB, and each argument takes a pointer and a
  // NUL at least. Of an item that asks for more, "args" is not read.
  static constexpr size_t kMostArguments = size_t{6} * 1024 * 1024 / (sizeof(char*) + 1);

  // `program` is argv[0]; it is not copied and must outlive this object. `item` says with "argc" how many of its
  // "args", keyed "0", "1", ..., follow; missing ones are added to it as nulls and passed as "". Throws what the JSON
  // library throws for values that can't be converted.
  ArgumentVector(std::string& program, JsonObject& item);
  ~ArgumentVector();
  ArgumentVector(const ArgumentVector&) = delete;
  ArgumentVector& operator=(const ArgumentVector&) = delete;

  // The vector, ended by a null pointer and owned by this object. Null itself when memory does not suffice, and for
  // more than `kMostArguments`.
  char* const* argv() const { return complete ? entries : nullptr; }

 private:
  // 8 KiB, which any thread's stack holds.
  static constexpr size_t kMostInPlace = 1024;

  char* in_place[kMostInPlace] = {};
  std::unique_ptr<char*[]> on_heap;
  char** entries = in_place;
  size_t count = 1;
  bool complete = false;
};
