// Look-ups by path, as the launcher makes them for the members of an item.
#include <string>

#include "bench/compare.h"
#include "common/json/json_object.h"

static const char* const kList =
    R"({"0":{"name":"sync","program":"/opt/app/syncd","argc":2,"args":{"0":"--quiet","1":"--all"},"run_once":false}})";

static JsonObject& Document() {
  static JsonObject document(kList);
  return document;
}

// The same list as a value of the library.
static Json::Value& List() {
  static Json::Value list;
  if (list.isNull()) {
    JsonObject view(list);
    view = Document().Copy();
  }
  return list;
}

// The value that the three names lead to, or null: what a careful hand writes.
static const Json::Value* ByHand(const char* first, const char* second, const char* third) {
  const Json::Value& list = List();
  if (!list.isMember(first)) return nullptr;
  const Json::Value& item = list[first];
  if (!item.isMember(second)) return nullptr;
  const Json::Value& arguments = item[second];
  return arguments.isMember(third) ? &arguments[third] : nullptr;
}

static const Comparison kFound(
    "JsonObject", "0/args/1, HasObject and GetObject",
    [] {
      JsonObject& list = Document();
      return list.HasObject("0/args/1") ? std::string(list.GetObject("0/args/1")) : std::string();
    },
    "jsoncpp by hand",
    [] {
      const Json::Value* const argument = ByHand("0", "args", "1");
      return argument != nullptr ? argument->asString() : std::string();
    });

static const Comparison kMissing(
    "JsonObject", "0/args/2, HasObject", [] { return Document().HasObject("0/args/2"); }, "jsoncpp by hand",
    [] { return ByHand("0", "args", "2") != nullptr; });
