// Small values of JSON answers.
#pragma once

#include <cstdint>
#include <string>

#include "common/json/json_object.h"

inline JsonObject Number(int64_t number) { return JsonObject(std::to_string(number).c_str()); }
inline JsonObject Truth(bool truth) { return JsonObject(truth ? "true" : "false"); }
inline JsonObject Null() { return JsonObject(nullptr); }
inline JsonObject EmptyArray() { return JsonObject("[]"); }

// `text` is well-formed UTF-8.
inline JsonObject Text(const std::string& text) {
  JsonObject value = JsonObject::GetEmptyObject();
  value = text;
  return value;
}
