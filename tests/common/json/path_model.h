// How `JsonObject` follows a path, said literally: cut at every match of the expression "/", then step by step. The
// class itself goes along the path without cutting it.
#pragma once

#include <json/value.h>

#include <regex>
#include <string>

#include "common/strings/split.h"

// Returns the value that `path` names below `start`, or null when a member is missing. Throws what the library throws.
inline Json::Value* FindValueLiterally(Json::Value& start, const char* path) {
  static const std::regex separator("/");
  Json::Value* current = &start;
  for (const std::string& member : split(path, separator)) {
    if (member.empty()) continue;
    if (!current->isMember(member)) return nullptr;
    current = &(*current)[member];
  }
  return current;
}
