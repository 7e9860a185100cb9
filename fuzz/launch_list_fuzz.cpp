// Launch lists as launcherctl reads them, beside the conversions that the launcher makes of the same bytes: both take
// and refuse the same lists, and read the same names, programs, arguments and truth values. Whatever the list holds,
// what is found in it is sorted, has a place inside it, and is shown with nothing that a terminal acts on.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/json/json_object.h"
#include "fuzz/require.h"
#include "launcher/argument_vector.h"
#include "launcherctl/check_list.h"
#include "launcherctl/escape.h"
#include "launcherctl/findings_output.h"

using Fate = LaunchListItem::Fate;
using Converts = LaunchListItem::Converts;

// What `convert` gives, or nothing where the launcher's conversion throws.
template <typename Value>
static std::optional<Value> Try(const std::function<Value()>& convert) {
  try {
    return convert();
  } catch (AERROR) {
  } catch (const std::exception&) {
  }
  return std::nullopt;
}

static void CompareArguments(JsonObject& item, const LaunchListItem& read) {
  const auto count = Try<int>([&] { return item.HasObject("argc") ? static_cast<int>(item["argc"]) : 0; });
  bool converts = count.has_value();
  constexpr int kMostCompared = 200;
  Require(!count || read.argument_count == std::max(*count, 0), "the number of arguments is the same");
  if (count && *count > 0 && static_cast<size_t>(*count) > ArgumentVector::kMostArguments) {
    Require(read.arguments_convert == Converts::kYes, "of too many arguments none is read");
    return;
  }
  for (int i = 0; converts && i < std::min(*count, kMostCompared); ++i) {
    const auto argument = Try<std::string>([&] { return std::string(item["args"][std::to_string(i).c_str()]); });
    converts = argument.has_value();
    Require(!argument || read.Argument(i) == *argument, "the argument is the same");
  }
  Require(converts || read.arguments_convert == Converts::kEndsChild, "what ends the child is known");
  const bool is_complete = count && *count <= kMostCompared;
  Require(!converts || !is_complete || read.arguments_convert == Converts::kYes, "what does not end it is known");
}

// The launcher's own loop over the items. It writes into the document, so the list is read anew for it.
static void CompareItems(const std::string& text, const LaunchList& list) {
  JsonObject document(text.data(), static_cast<unsigned int>(text.size()));
  for (int i = 0;; ++i) {
    const std::string key = std::to_string(i);
    const auto exists = Try<bool>([&] { return document.HasObject(key.c_str()); });
    Require(exists.has_value() == (list.state == LaunchList::State::kRead), "an object is known as one");
    if (!exists) return;
    const auto index = static_cast<size_t>(i);
    const bool is_looked_for = index < list.items.size() && list.items[index].fate != Fate::kNeverRead;
    Require(*exists == is_looked_for, "the same items are looked for");
    if (!is_looked_for) return;

    const LaunchListItem& read = list.items[index];
    JsonObject item = document[key.c_str()];
    const auto has_name = Try<bool>([&] { return item.HasObject("/name"); });
    const auto name = Try<std::string>([&] { return std::string(item.GetObject("name")); });
    if (!has_name || (*has_name && !name)) {
      Require(read.fate == Fate::kEndsReading, "what ends the reading is known");
      return;
    }
    Require((read.fate == Fate::kSkipped) == !*has_name, "what is skipped is known");
    if (!*has_name) continue;
    Require(read.name == *name, "the name is the same");
    const auto program = Try<std::string>([&] { return std::string(item["program"]); });
    Require((read.program_converts == Converts::kYes) == program.has_value(), "a program that is no text is known");
    Require(!program || read.program == *program, "the program is the same");
    const auto once = Try<bool>([&] { return item.HasObject("run_once") && static_cast<bool>(item["run_once"]); });
    Require((read.run_once_converts == Converts::kYes) == once.has_value(), "a run_once that is none is known");
    Require(!once || read.run_once == *once, "run_once is the same");
    CompareArguments(item, read);
  }
}

static bool IsOneLineForPeople(std::string_view text) {
  while (!text.empty()) {
    const size_t bytes = CharacterBytes(text);
    if (bytes == 0 || IsHidden(text.substr(0, bytes))) return false;
    text.remove_prefix(bytes);
  }
  return true;
}

static void RequireSoundFindings(const std::string& bytes, const std::vector<Finding>& findings) {
  const TextPlaces places(bytes);
  const TextPlaces::Place end = places.At(bytes.size());
  const Finding* before = nullptr;
  for (const Finding& finding : findings) {
    Require(finding.line >= 1 && finding.column >= 1 && finding.line <= end.line, "the place lies in the list");
    const bool is_sorted = before == nullptr || before->line < finding.line ||
                           (before->line == finding.line && before->column <= finding.column);
    Require(is_sorted, "findings are sorted");
    Require(IsOneLineForPeople(finding.message), "a message is one line for people: " + finding.message);
    Require(IsOneLineForPeople(finding.consequence), "a consequence is one line for people: " + finding.consequence);
    Require(IsOneLineForPeople(finding.remedy), "a remedy is one line for people: " + finding.remedy);
    before = &finding;
  }
  const std::string json = ToJson(findings).ToText();
  Require(JsonObject(json.c_str()).GetArraySize() == findings.size(), "the findings are JSON");
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string bytes;
  bytes.reserve(size);
  for (size_t i = 0; i < size; ++i) bytes.push_back(static_cast<char>(data[i]));
  const LaunchList list = ParseLaunchList("list.json", bytes);  // Throws where the two readers differ.
  const std::string text = bytes.substr(0, bytes.find('\0'));
  const bool is_json = list.state == LaunchList::State::kRead || list.state == LaunchList::State::kNotObject;
  if (is_json) CompareItems(text, list);
  RequireSoundFindings(bytes, CheckList(list));
  return 0;
}
