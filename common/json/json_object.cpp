#include "common/json/json_object.h"

#include <json/reader.h>
#include <json/writer.h>

#include <cstdint>
#include <cstring>
#include <utility>

#include "common/strings/trim.h"
#include "common/strings/utf8.h"

// The library calls its Reader and its writers deprecated; their exact grammar and layout are what files on users'
// machines were written with.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

// Returns the value that `path` names below `start`, or null when a member is missing. Allocates nothing.
static Json::Value* FindValue(Json::Value* start, const char* path) {
  constexpr const char* kSeparator = "/";
  Json::Value* current = start;
  while (true) {
    path += strspn(path, kSeparator);
    if (*path == '\0') return current;
    const char* const end = path + strcspn(path, kSeparator);
    // The library looks a member up once only where it is const. The value itself is not.
    current = const_cast<Json::Value*>(current->find(path, end));
    if (current == nullptr) return nullptr;
    path = end;
  }
}

// Writes with a writer of its own, whose text ends in a line feed.
template <typename Writer>
static std::string WriteTrimmed(const Json::Value& value) {
  std::string text = Writer().write(value);
  return trim(text);
}

JsonObject::JsonObject(const char* text, unsigned int length) : target(&own_value) {
  constexpr bool kCollectComments = false;
  if (!Json::Reader().parse(text, text + length, own_value, kCollectComments)) throw AERROR_JSON_PARSE;
}

JsonObject::JsonObject(const char* text) : target(&own_value) {
  if (text == nullptr) return;
  constexpr bool kCollectComments = true;
  if (!Json::Reader().parse(std::string(text), own_value, kCollectComments)) throw AERROR_JSON_PARSE;
}

JsonObject::JsonObject(Json::Value& value) : target(&value) {}

// The question is put to the source's own value, not to its target: that is what tells documents from views.
JsonObject::JsonObject(const JsonObject& other) : target(other.target) {
  if (other.own_value.isNull()) return;
  own_value = other.own_value;
  target = &own_value;
}

JsonObject::~JsonObject() = default;

JsonObject JsonObject::GetEmptyObject() { return JsonObject("{}"); }

// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): the library's assignments copy first.
JsonObject& JsonObject::operator=(const JsonObject& other) {
  if (other.own_value.isNull()) {
    *target = *other.target;
  } else {
    own_value = other.own_value;
    target = &own_value;
  }
  return *this;
}

JsonObject& JsonObject::operator=(std::string text) {
  *target = Json::Value(text);
  return *this;
}

bool JsonObject::IsValid() const { return !target->isNull(); }

bool JsonObject::IsArray() const { return target->isArray(); }

Json::ArrayIndex JsonObject::GetArraySize() const { return target->size(); }

bool JsonObject::HasObject(const char* path) const { return FindValue(target, path) != nullptr; }

JsonObject JsonObject::GetObject(const char* path) {
  Json::Value* const found = FindValue(target, path);
  if (found == nullptr) throw AERROR_PATH_NOT_FOUND;
  return JsonObject(*found);
}

JsonObject JsonObject::operator[](int index) { return JsonObject((*target)[index]); }

JsonObject JsonObject::operator[](const char* key) { return JsonObject((*target)[key]); }

// NOLINTNEXTLINE(readability-redundant-string-cstr): it ends the text at its first NUL.
JsonObject::operator std::string() const { return target->asString().c_str(); }

JsonObject::operator std::wstring() const { return s2ws(*this); }

JsonObject::operator unsigned long long() const { return target->asUInt64(); }

JsonObject::operator long long() const { return target->asInt64(); }

JsonObject::operator long() const { return static_cast<long>(target->asInt64()); }

JsonObject::operator int() const { return static_cast<int>(target->asInt64()); }

JsonObject::operator AERROR() const { return static_cast<AERROR>(target->asInt64()); }

JsonObject::operator double() const { return target->asDouble(); }

JsonObject::operator bool() const { return target->asBool(); }

bool JsonObject::Insert(const char* key, const JsonObject& value) {
  // Copied first: the value may be the target itself, or lie inside it.
  Json::Value copy = *value.target;
  (*target)[key] = std::move(copy);
  return true;
}

bool JsonObject::Insert(const char* key, const std::wstring& value) {
  // Converted before the member is touched: a text that can't be converted leaves the document as it is.
  Json::Value text(ws2s(value));
  (*target)[key] = std::move(text);
  return true;
}

bool JsonObject::InsertArrayItem(std::string value) {
  target->append(Json::Value(value));
  return true;
}

bool JsonObject::InsertArrayItem(JsonObject& item) {
  const Json::Value& value = *item.target;
  target->append(value);
  return true;
}

bool JsonObject::RemoveArrayItem(unsigned long index) {
  Json::Value removed;
  return target->removeIndex(static_cast<Json::ArrayIndex>(index), &removed);
}

bool JsonObject::Remove(const char* key) {
  Json::Value removed;
  return target->removeMember(key, &removed);
}

std::vector<std::string> JsonObject::GetKeys() const { return target->getMemberNames(); }

JsonObject JsonObject::Copy() { return JsonObject(*target); }

std::string JsonObject::ToText() const { return WriteTrimmed<Json::FastWriter>(*target); }

std::string JsonObject::ToStyledText() const { return WriteTrimmed<Json::StyledWriter>(*target); }
