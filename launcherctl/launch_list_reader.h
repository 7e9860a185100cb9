// Reads a launch list with the places of what it holds, and tells what the launcher would make of each item.
//
// What is a list and what not is decided by the reader that the launcher uses (common/json); the places come from
// json_places.h. Nothing is started or asked of the system beyond the file itself.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "launcherctl/json_places.h"
#include "launcherctl/read_file.h"

// How many arguments fit everywhere; more are a failed start on some platforms.
static constexpr int64_t kMostArgumentsEverywhere = 16383;

struct LaunchListItem {
  enum class Fate {
    kSupervised,   // A supervisor starts the program, again and again unless `run_once`.
    kReplaced,     // So does one for this item, until the later item of the same name stops it.
    kSkipped,      // It has no name; the launcher logs that.
    kEndsReading,  // Not an object, or its name is an array or object: the launcher ends with status 0 here.
    kNotReached,   // Behind an item that ends the reading.
    kNeverRead,    // Behind a gap in the numbers, or under a number that the launcher does not look for.
  };

  // Whether the launcher can convert a member, and what ends by SIGABRT when it can't.
  enum class Converts { kYes, kEndsChild, kEndsLauncher };

  std::string key;                // "0", "1", ...; or what looks like a number: "01", "-1".
  std::optional<int64_t> number;  // Of a key that is a number as the launcher writes it.
  Fate fate = Fate::kSupervised;

  // As the launcher reads them: converted, up to the first NUL. For items with a "name"; the others keep the defaults.
  std::optional<std::string> name;
  std::string program;  // Empty: "program path of NAME is empty" is logged, and nothing is started.
  bool run_once = false;
  int64_t argument_count = 0;                // Never negative. Above `kMostArgumentsEverywhere` the start may fail.
  std::map<int64_t, std::string> arguments;  // Those below the count that `args` holds; the others are empty texts.

  // What ends when these are converted: the launcher for `program` (at once) and `run_once` (after the first end), the
  // forked child for the arguments.
  Converts program_converts = Converts::kYes;
  Converts run_once_converts = Converts::kYes;
  Converts arguments_convert = Converts::kYes;

  // Where it stands, in the list's document: the member of the list, and the item's own, null where it has none.
  const JsonMember* member = nullptr;
  const JsonMember* name_member = nullptr;
  const JsonMember* program_member = nullptr;
  const JsonMember* argc_member = nullptr;
  const JsonMember* args_member = nullptr;
  const JsonMember* run_once_member = nullptr;

  // The argument at `index`, which is below the count.
  std::string Argument(int64_t index) const;
  // Whether `command` is what the program is started with: its path as element 0, then its arguments.
  bool IsCommand(const std::vector<std::string>& command) const;
};

// The items point into the document, so a list can be moved but not copied.
struct LaunchList {
  enum class State {
    kRead,       // Parsed; `items` may be empty.
    kNoFile,     // `file.state` says why.
    kEmpty,      // No bytes, or none before the first NUL.
    kNotJson,    // `document.error` says where; of the nested too deep it says so.
    kNotObject,  // Neither an object nor null.
  };
  State state = State::kRead;
  std::string path;
  FileContent file;       // With all bytes.
  JsonDocument document;  // Of the bytes before the first NUL.

  // First those that are looked for, in their order, then those that look like items and are never read, as in the
  // file.
  std::vector<LaunchListItem> items;

  LaunchList() = default;
  LaunchList(LaunchList&&) = default;
  LaunchList& operator=(LaunchList&&) = default;

  // The items that get a supervisor, in the order in which the launcher starts them.
  std::vector<const LaunchListItem*> SupervisedItems() const;
};

// Reads the list at `path`. Throws std::logic_error when the two readers disagree, which is a fault of this program.
//
LaunchList ReadLaunchList(const std::string& path);

// The same for a list whose bytes are at hand; `path` is only noted.
LaunchList ParseLaunchList(const std::string& path, std::string bytes);

// What the launcher makes of `argc`, before it is cut to 32 bits. False when the conversion ends the child: a text, an
// array, an object or a number outside 64 bits.
bool ConvertToWholeNumber(const JsonValue& value, int64_t& number);

// The number of a key that the launcher would look for: "0", "1", ... without a sign or leading zeros.
std::optional<int64_t> ItemNumber(std::string_view key);
