// Writes launch lists.
#pragma once

#include <string>
#include <vector>

#include "common/json/json_object.h"

// An item of a launch list. "argc" is the number of arguments.
[[maybe_unused]] static JsonObject Item(const std::string& name, const std::string& program,
                                        const std::vector<std::string>& arguments = {}) {
  JsonObject item = JsonObject::GetEmptyObject();
  item["name"] = name;
  item["program"] = program;
  item.Insert("argc", JsonObject(std::to_string(arguments.size()).c_str()));
  item.Insert("args", JsonObject::GetEmptyObject());
  for (size_t i = 0; i < arguments.size(); ++i) item["args"][std::to_string(i).c_str()] = arguments[i];
  return item;
}

[[maybe_unused]] static JsonObject RunOnce(JsonObject item) {
  item.Insert("run_once", JsonObject("true"));
  return item;
}

// What `sh -c SCRIPT` does.
[[maybe_unused]] static JsonObject ShellItem(const std::string& name, const std::string& script) {
  return Item(name, "/bin/sh", {"-c", script});
}

// A program that runs until it is killed.
[[maybe_unused]] static JsonObject SleepingItem(const std::string& name) {
  return Item(name, "/bin/sleep", {"100000"});
}

[[maybe_unused]] static std::string ListOf(const std::vector<JsonObject>& items) {
  JsonObject list = JsonObject::GetEmptyObject();
  for (size_t i = 0; i < items.size(); ++i) list.Insert(std::to_string(i).c_str(), items[i]);
  return list.ToStyledText();
}

// The same with an item at its end that has no name, which is logged when everything before it has been started.
[[maybe_unused]] static std::string ListWithEndMark(std::vector<JsonObject> items) {
  items.push_back(JsonObject::GetEmptyObject());
  return ListOf(items);
}
