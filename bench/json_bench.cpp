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

static const Comparison kFound(
    "JsonObject", "0/args/1, HasObject and GetObject",
    [] {
      JsonObject& list = Document();
      return list.HasObject("0/args/1") ? std::string(list.GetObject("0/args/1")) : std::string();
    },
    "jsoncpp by hand",
    [] {
      Json::Value& list = List();
      if (!list.isMember("0") || !list["0"].isMember("args") || !list["0"]["args"].isMember("1")) return std::string();
      return list["0"]["args"]["1"].asString();
    });

static const Comparison kMissing(
    "JsonObject", "0/args/2, HasObject", [] { return Document().HasObject("0/args/2"); }, "jsoncpp by hand",
    [] {
      Json::Value& list = List();
      return list.isMember("0") && list["0"].isMember("args") && list["0"]["args"].isMember("2");
    });
