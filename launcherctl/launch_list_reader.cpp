#include "launcherctl/launch_list_reader.h"

#include <algorithm>
#include <exception>
#include <limits>
#include <stdexcept>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "common/json/json_object.h"
#include "launcher/argument_vector.h"

using Kind = JsonValue::Kind;
using Fate = LaunchListItem::Fate;
using Converts = LaunchListItem::Converts;

// Far more than any list; what is larger is not read into memory.
static constexpr size_t kMostListBytes = size_t{16} << 20U;

// --- Conversions. Numbers are converted by the application's own type, from their spelling.

static JsonObject NumberOf(const JsonValue& value) {
  return JsonObject(value.text.data(), static_cast<unsigned int>(value.text.size()));
}

// False when the launcher's conversion to text throws. Text ends at its first NUL.
static bool ConvertToText(const JsonValue& value, std::string& text) {
  switch (value.kind) {
    case Kind::kNull:
      text.clear();
      return true;
    case Kind::kBoolean:
      text = value.text;
      return true;
    case Kind::kNumber:
      text = std::string(NumberOf(value));
      return true;
    case Kind::kText:
      text = value.text.substr(0, value.text.find('\0'));
      return true;
    case Kind::kArray:
    case Kind::kObject:
      break;
  }
  return false;
}

static bool ConvertToTruth(const JsonValue& value, bool& truth) {
  switch (value.kind) {
    case Kind::kNull:
      truth = false;
      return true;
    case Kind::kBoolean:
      truth = value.text == "true";
      return true;
    case Kind::kNumber:
      truth = static_cast<bool>(NumberOf(value));
      return true;
    case Kind::kText:
    case Kind::kArray:
    case Kind::kObject:
      break;
  }
  return false;
}

bool ConvertToWholeNumber(const JsonValue& value, int64_t& number) {
  switch (value.kind) {
    case Kind::kNull:
      number = 0;
      return true;
    case Kind::kBoolean:
      number = value.text == "true" ? 1 : 0;
      return true;
    case Kind::kNumber:
      try {
        number = static_cast<long long>(NumberOf(value));
        return true;
      } catch (const std::exception&) {
        return false;  // Outside 64 bits.
      }
    case Kind::kText:
    case Kind::kArray:
    case Kind::kObject:
      break;
  }
  return false;
}

std::optional<int64_t> ItemNumber(std::string_view key) {
  constexpr size_t kMostDigits = 18;
  if (key.empty() || key.size() > kMostDigits || (key.size() > 1 && key.front() == '0')) return std::nullopt;
  int64_t number = 0;
  for (const char c : key) {
    if (c < '0' || c > '9') return std::nullopt;
    number = number * 10 + (c - '0');
  }
  return number;
}

// Whether somebody who writes `key` means an item's number: digits, perhaps with a sign or blanks around.
static bool LooksLikeANumber(std::string_view key) {
  const size_t first = key.find_first_not_of(" \t");
  if (first == std::string_view::npos) return false;
  key = key.substr(first, key.find_last_not_of(" \t") - first + 1);
  if (key.front() == '-' || key.front() == '+') key.remove_prefix(1);
  const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
  return !key.empty() && std::all_of(key.begin(), key.end(), is_digit);
}

// --- Items

std::string LaunchListItem::Argument(int64_t index) const {
  const auto found = arguments.find(index);
  return found == arguments.end() ? std::string() : found->second;
}

bool LaunchListItem::IsCommand(const std::vector<std::string>& command) const {
  if (command.empty() || command.front() != program) return false;
  const auto count = static_cast<int64_t>(command.size()) - 1;
  if (count != argument_count) return false;
  for (int64_t i = 0; i < count; ++i) {
    if (command[static_cast<size_t>(i) + 1] != Argument(i)) return false;
  }
  return true;
}

static const JsonMember* FindMember(const JsonValue& object, std::string_view name) {
  for (const JsonMember& member : object.members) {
    if (member.counts && member.name == name) return &member;
  }
  return nullptr;
}

static void ReadArguments(LaunchListItem& item) {
  if (item.argc_member == nullptr) return;
  int64_t argc = 0;
  if (!ConvertToWholeNumber(item.argc_member->value, argc)) {
    item.arguments_convert = Converts::kEndsChild;
    return;
  }
  item.argument_count = std::max<int64_t>(static_cast<int32_t>(argc), 0);
  if (item.argument_count == 0 || item.args_member == nullptr) return;
  // Such a start fails before the launcher reads "args".
  if (static_cast<size_t>(item.argument_count) > ArgumentVector::kMostArguments) return;
  const JsonValue& args = item.args_member->value;
  if (args.kind == Kind::kNull) return;
  if (args.kind != Kind::kObject) {
    item.arguments_convert = Converts::kEndsChild;
    return;
  }
  for (const JsonMember& member : args.members) {
    const std::optional<int64_t> index = ItemNumber(member.name);
    if (!member.counts || !index || *index >= item.argument_count) continue;
    if (!ConvertToText(member.value, item.arguments[*index])) item.arguments_convert = Converts::kEndsChild;
  }
}

static void ReadItem(const JsonMember& member, LaunchListItem& item) {
  item.key = member.name;
  item.number = ItemNumber(member.name);
  item.member = &member;
  const JsonValue& value = member.value;
  if (value.kind == Kind::kNull) {
    item.fate = Fate::kSkipped;
    return;
  }
  if (value.kind != Kind::kObject) {
    item.fate = Fate::kEndsReading;
    return;
  }
  item.name_member = FindMember(value, "name");
  item.program_member = FindMember(value, "program");
  item.argc_member = FindMember(value, "argc");
  item.args_member = FindMember(value, "args");
  item.run_once_member = FindMember(value, "run_once");
  if (item.name_member == nullptr) {
    item.fate = Fate::kSkipped;
    return;
  }
  std::string name;
  if (ConvertToText(item.name_member->value, name)) {
    item.name = name;
  } else {
    item.fate = Fate::kEndsReading;
  }
  if (item.program_member != nullptr && !ConvertToText(item.program_member->value, item.program)) {
    item.program_converts = Converts::kEndsLauncher;
  }
  if (item.run_once_member != nullptr && !ConvertToTruth(item.run_once_member->value, item.run_once)) {
    item.run_once_converts = Converts::kEndsLauncher;
  }
  ReadArguments(item);
}

static void ReadItems(LaunchList& list) {
  std::unordered_map<std::string_view, const JsonMember*> members;
  for (const JsonMember& member : list.document.root.members) {
    if (member.counts) members[member.name] = &member;
  }
  bool is_read = true;
  int64_t count = 0;
  for (;; ++count) {
    const auto found = members.find(std::to_string(count));
    if (found == members.end()) break;
    LaunchListItem item;
    ReadItem(*found->second, item);
    if (!is_read) item.fate = Fate::kNotReached;
    if (item.fate == Fate::kEndsReading) is_read = false;
    list.items.push_back(std::move(item));
  }
  for (const JsonMember& member : list.document.root.members) {
    if (!member.counts || !LooksLikeANumber(member.name)) continue;
    const std::optional<int64_t> number = ItemNumber(member.name);
    if (number && *number < count) continue;
    LaunchListItem item;
    ReadItem(member, item);
    item.fate = Fate::kNeverRead;
    list.items.push_back(std::move(item));
  }
  // The last item with a name keeps it.
  std::unordered_map<std::string_view, bool> seen;
  for (auto item = list.items.rbegin(); item != list.items.rend(); ++item) {
    if (item->fate == Fate::kSupervised && !seen.try_emplace(*item->name, true).second) item->fate = Fate::kReplaced;
  }
}

// --- The list

// What the launcher's own reader says.
static bool IsJsonToTheLauncher(std::string_view text) {
  try {
    const JsonObject list(text.data(), static_cast<unsigned int>(text.size()));
    return true;
  } catch (AERROR) {
    return false;
  } catch (const std::exception&) {
    return false;  // Nested too deep.
  }
}

static void Parse(LaunchList& list) {
  const std::string_view bytes = list.file.bytes;
  const std::string_view text = bytes.substr(0, bytes.find('\0'));
  if (text.empty()) {
    list.state = LaunchList::State::kEmpty;
    return;
  }
  list.document = ReadJson(text);
  if (IsJsonToTheLauncher(text) != list.document.parsed) {
    throw std::logic_error("the launcher's reader and this program's take " + list.path + " for different things");
  }
  if (!list.document.parsed) {
    list.state = LaunchList::State::kNotJson;
  } else if (list.document.root.kind != Kind::kObject && list.document.root.kind != Kind::kNull) {
    list.state = LaunchList::State::kNotObject;
  } else {
    ReadItems(list);
  }
}

LaunchList ReadLaunchList(const std::string& path) {
  LaunchList list;
  list.path = path;
  list.file = ReadRegularFile(path, kMostListBytes);
  if (list.file.state == FileContent::State::kRead) {
    Parse(list);
  } else {
    list.state = LaunchList::State::kNoFile;
  }
  return list;
}

LaunchList ParseLaunchList(const std::string& path, std::string bytes) {
  LaunchList list;
  list.path = path;
  list.file.bytes = std::move(bytes);
  Parse(list);
  return list;
}

std::vector<const LaunchListItem*> LaunchList::SupervisedItems() const {
  std::vector<const LaunchListItem*> supervised;
  for (const LaunchListItem& item : items) {
    if (item.fate == Fate::kSupervised || item.fate == Fate::kReplaced) supervised.push_back(&item);
  }
  return supervised;
}
