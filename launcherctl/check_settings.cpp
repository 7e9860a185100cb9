#include "launcherctl/check_settings.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

#include "common/settings/log_settings.h"
#include "launcherctl/escape.h"
#include "launcherctl/json_places.h"
#include "launcherctl/nearest.h"
#include "launcherctl/read_file.h"

static constexpr size_t kMostSettingsBytes = size_t{1} << 20U;
static constexpr size_t kLongestLineBytes = 2047;   // What is longer counts as several lines.
static constexpr size_t kLongestValueBytes = 1023;  // What is longer is replaced by the default.

static constexpr std::string_view kBlanks = " \t\r\n\v\f";

static std::string ToLower(std::string_view text) {
  std::string lowered(text);
  std::transform(lowered.begin(), lowered.end(), lowered.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return lowered;
}

static std::string_view Trimmed(std::string_view text) {
  const size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

static bool IsHeader(std::string_view line) { return line.size() >= 3 && line.front() == '[' && line.back() == ']'; }

namespace {

struct Texts {
  std::string message;
  std::string consequence;
  std::string remedy;
};

// Reads one value of one file, and gathers what is odd about it on the way.
class ValueReader {
 public:
  struct Wanted {
    std::string section;  // All in upper case.
    std::string key;
    std::string what;     // "the level": what the value is.
    std::string without;  // What comes of its absence, a whole sentence.
  };

  ValueReader(std::string path, Wanted wanted_value, std::vector<Finding>& found)
      : file(std::move(path)), wanted(std::move(wanted_value)), findings(found) {}

  // The value that counts, or nothing. A missing file is no finding.
  std::optional<std::string_view> Read() {
    content = ReadRegularFile(file, kMostSettingsBytes);
    is_missing = content.state == FileContent::State::kMissing;
    if (is_missing) return std::nullopt;
    if (content.state != FileContent::State::kRead) {
      AddUnread();
      return std::nullopt;
    }
    places.emplace(content.bytes);
    CheckMark();
    ReadLines();
    return value;
  }

  void Add(size_t offset, const char* code, Severity severity, Texts texts) {
    const TextPlaces::Place place = places ? places->At(offset) : TextPlaces::Place{1, 1};
    Finding finding;
    finding.file = file;
    finding.line = place.line;
    finding.column = place.column;
    finding.code = code;
    finding.severity = severity;
    finding.message = std::move(texts.message);
    finding.consequence = std::move(texts.consequence);
    finding.remedy = std::move(texts.remedy);
    findings.push_back(std::move(finding));
    has_findings = true;
  }

  // Where the value that counts begins.
  size_t ValueOffset() const { return OffsetOf(*value); }

  bool is_missing = false;
  bool has_findings = false;

 private:
  size_t OffsetOf(std::string_view part) const { return static_cast<size_t>(part.data() - content.bytes.data()); }

  std::string Name() const { return wanted.key + " in [" + wanted.section + "]"; }

  void AddUnread() {
    if (content.state == FileContent::State::kNotAFile) {
      Add(0, "not-a-file", Severity::kError,
          {"The settings file is " + content.reason + ", not a file.",
           "The launcher would read it for ever, or wait for it, and start nothing; SIGTERM does not end it.",
           "Remove it, or put the file in its place."});
    } else if (content.state == FileContent::State::kTooLarge) {
      Add(0, "unreadable", Severity::kError,
          {"The settings file " + content.reason + ", and is not read.", "What the launcher makes of it is not known.",
           "Look whether these are the settings at all."});
    } else {
      Add(0, "unreadable", Severity::kError,
          {"The settings file can't be read: " + content.reason + ".", wanted.without,
           "Let the launcher's user read the file, and pass through the folders of its path."});
    }
  }

  void CheckMark() {
    const std::string_view bytes = content.bytes;
    if (bytes.substr(0, 3) != "\xEF\xBB\xBF" && bytes.substr(0, 2) != "\xFF\xFE" && bytes.substr(0, 2) != "\xFE\xFF") {
      return;
    }
    Add(0, "byte-order-mark", Severity::kError,
        {"The file begins with a byte-order mark.",
         "The mark belongs to the first line: a section that begins there is not found.",
         "Save the file as UTF-8 without the mark."});
  }

  void ReadLines() {
    std::string_view rest = content.bytes;
    while (!rest.empty()) {
      const size_t line_feed = std::min(rest.find('\n'), rest.size());
      const size_t bytes = std::min({line_feed + 1, rest.size(), kLongestLineBytes});
      std::string_view line = rest.substr(0, bytes);
      rest.remove_prefix(bytes);
      line = line.substr(0, line.find('\0'));
      ReadLine(Trimmed(line));
    }
  }

  void ReadLine(std::string_view line) {
    if (line.empty()) return;
    const bool is_wanted_header =
        IsHeader(line) && ToLower(Trimmed(line.substr(1, line.size() - 2))) == ToLower(wanted.section);
    if (is_wanted_header) {
      section = section == Section::kBefore ? Section::kInside : Section::kInLaterOne;
    } else if (line.front() == '[') {
      if (section == Section::kBefore) return;
      // A header that is not closed ends the section, but begins none.
      section = Section::kBetween;
    } else if (section == Section::kInside || section == Section::kInLaterOne) {
      ReadKeyLine(line);
    }
  }

  void ReadKeyLine(std::string_view line) {
    const size_t equals = line.find('=');
    if (equals == std::string_view::npos) return;
    const std::string_view key = line.substr(0, equals);
    if (ToLower(Trimmed(key)) != ToLower(wanted.key)) return;
    const std::string_view behind = line.substr(equals + 1);

    if (section == Section::kInLaterOne || value) {
      Add(OffsetOf(line), "settings-late", Severity::kWarning,
          {section == Section::kInLaterOne
               ? "This is a second section [" + wanted.section + "]; only the first one counts."
               : "An earlier line sets " + wanted.key + " already, and that one counts.",
           "This line sets nothing.", "Keep one line for " + Name() + "."});
      return;
    }
    const bool has_blank_before = Trimmed(key).size() != key.size();
    const bool has_blank_behind = !behind.empty() && kBlanks.find(behind.front()) != std::string_view::npos;
    if (has_blank_before || has_blank_behind) {
      const size_t blank = has_blank_before ? OffsetOf(key) + Trimmed(key).size() : OffsetOf(behind);
      Add(blank, "settings-blank", Severity::kWarning,
          {std::string("A blank stands ") + (has_blank_before ? "before" : "behind") + " the equals sign.",
           has_blank_before ? "This line sets nothing." : "The blank belongs to the value.",
           "Write it without blanks: " + wanted.key + "=" +
               ShownText(Shortened(Trimmed(behind.substr(0, behind.find('=')))))});
      if (has_blank_before) return;
    }
    if (behind.empty()) {
      Add(OffsetOf(line), "settings-value", Severity::kWarning,
          {"Nothing stands behind the equals sign.", "This line sets nothing.",
           "Write " + wanted.what + " there, or remove the line."});
      return;
    }
    value = behind.substr(0, behind.find('='));
  }

  enum class Section { kBefore, kInside, kBetween, kInLaterOne };

  const std::string file;
  const Wanted wanted;
  std::vector<Finding>& findings;
  FileContent content;
  std::optional<TextPlaces> places;
  Section section = Section::kBefore;
  std::optional<std::string_view> value;
};

}  // namespace

static constexpr const char* kLogWithoutName =
    "The SDK name is empty: the log is written to Library/Logs//qz3log in the home folder, and log.ini is not found.";

static void ReadSdkName(Settings& settings) {
  ValueReader reader(settings.sdk_file, {"SDK", "NAME", "the SDK name", kLogWithoutName}, settings.findings);
  const std::optional<std::string_view> name = reader.Read();
  const auto add = [&](size_t offset, Texts texts) {
    reader.Add(offset, "settings-value", Severity::kWarning, std::move(texts));
  };
  if (reader.is_missing) {
    add(0, {"There is no such file.", kLogWithoutName, "Install the application again; the file belongs to it."});
    return;
  }
  if (!name) {
    if (reader.has_findings) return;  // They say why.
    add(0, {"The file sets no NAME in [SDK].", kLogWithoutName, "Write NAME=... below a line [SDK]"});
    return;
  }
  if (name->size() > kLongestValueBytes) {
    add(reader.ValueOffset(), {"The SDK name has " + std::to_string(name->size()) + " bytes, more than 1023.",
                               kLogWithoutName, "Write a shorter one."});
    return;
  }
  settings.sdk_name = *name;
  if (name->empty()) {
    add(reader.ValueOffset(), {"The SDK name is empty.", kLogWithoutName, "Write the SDK name there."});
  } else if (name->find('/') != std::string_view::npos || *name == "." || *name == "..") {
    add(reader.ValueOffset(),
        {"The SDK name " + Quoted(*name) + " is not the name of one folder.",
         "The log and log.ini lie in other folders than they should.", "Write a name without slashes."});
  }
}

static const std::vector<std::string>& LevelNames() {
  static const std::vector<std::string> names = {"DEBUG", "MESSAGE", "WARNING", "ERROR", "CRITICAL", "VERBOSE"};
  return names;
}

static void ReadLevel(Settings& settings) {
  static constexpr const char* kLevelIsError = "The level is ERROR: ends are logged, starts are not.";
  ValueReader reader(settings.log_file, {"LOG", "LEVEL", "a level", kLevelIsError}, settings.findings);
  const std::optional<std::string_view> level = reader.Read();
  if (!level) return;
  const std::vector<std::string>& names = LevelNames();
  if (std::find(names.begin(), names.end(), *level) != names.end()) {
    settings.level = StringToLogLevel(std::string(*level));
    return;
  }
  if (reader.has_findings && Trimmed(*level).size() != level->size()) return;  // The blank has been said.
  const std::string meant = NearestOf(*level, names);
  reader.Add(
      reader.ValueOffset(), "settings-value", Severity::kWarning,
      {level->empty() ? "The level is empty." : "There is no level " + Quoted(Shortened(*level)) + ".", kLevelIsError,
       meant.empty() ? "Write DEBUG, MESSAGE, WARNING, ERROR, CRITICAL or VERBOSE, in capital letters."
                     : "Write LEVEL=" + meant});
}

Settings ReadSettings(const std::string& resource_folder, const std::string& app_data_folder) {
  Settings settings;
  const bool has_slash = !resource_folder.empty() && resource_folder.back() == '/';
  settings.sdk_file = resource_folder + (has_slash ? "" : "/") + "qz3api.ini";
  ReadSdkName(settings);
  settings.log_file = app_data_folder + "/" + settings.sdk_name + "/log.ini";
  ReadLevel(settings);
  SortFindings(settings.findings);
  return settings;
}
