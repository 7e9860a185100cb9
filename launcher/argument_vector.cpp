#include "launcher/argument_vector.h"

#include <stdlib.h>
#include <string.h>

#include <new>

static size_t CountArguments(JsonObject& item) {
  if (!item.HasObject("argc")) return 0;
  const int arguments = item["argc"];
  return arguments > 0 ? static_cast<size_t>(arguments) : 0;
}

ArgumentVector::ArgumentVector(std::string& program, JsonObject& item) {
  const size_t arguments = CountArguments(item);
  if (arguments > kMostArguments) return;
  const size_t size = 1 + arguments + 1;  // With argv[0] and the null pointer.
  if (size > kMostInPlace) {
    on_heap.reset(new (std::nothrow) char*[size]());
    if (on_heap == nullptr) return;
    entries = on_heap.get();
  }

  entries[0] = program.data();
  for (size_t i = 0; i < arguments; ++i) {
    const std::string argument = item["args"][std::to_string(i).c_str()];
    char* const copy = strdup(argument.c_str());
    if (copy == nullptr) return;  // A null pointer in their midst would cut them.
    entries[count++] = copy;
  }
  complete = true;
}

ArgumentVector::~ArgumentVector() {
  for (size_t i = 1; i < count; ++i) free(entries[i]);
}
