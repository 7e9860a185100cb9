#include "launcherctl/check_list.h"

#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "common/json/json_object.h"
#include "launcherctl/escape.h"
#include "launcherctl/nearest.h"
#include "launcherctl/program_check.h"

using Kind = JsonValue::Kind;
using Fate = LaunchListItem::Fate;

// --- Consequences that several findings have.

static constexpr const char* kEndsSilently = "The launcher ends at once with exit status 0, and nothing is logged.";
static constexpr const char* kEndsLogged =
    "The launcher logs \"Error while parsing saved json string.\" and ends with exit status 0; programs that it has "
    "started by then are killed.";
static constexpr const char* kAborts =
    "The launcher ends on SIGABRT without a word; the programs of the other items go on without it.";
static constexpr const char* kChildAborts =
    "Each start ends on SIGABRT before it becomes the program (status = 6, or 134), again and again.";
static constexpr const char* kNothingStarted =
    "Nothing is started for this item; each attempt logs that the program's path is empty.";

// How a value's kind is called, with its article.
static const char* KindName(Kind kind) {
  switch (kind) {
    case Kind::kNull:
      return "null";
    case Kind::kBoolean:
      return "a truth value";
    case Kind::kNumber:
      return "a number";
    case Kind::kText:
      return "a text";
    case Kind::kArray:
      return "an array";
    case Kind::kObject:
      return "an object";
  }
  return "something else";
}

static bool IsArrayOrObject(Kind kind) { return kind == Kind::kArray || kind == Kind::kObject; }

static std::string Plural(int64_t count, const std::string& word) {
  return std::to_string(count) + " " + word + (count == 1 ? "" : "s");
}

namespace {

class ListCheck {
 public:
  explicit ListCheck(const LaunchList& checked) : list(checked), places(checked.file.bytes) {}

  std::vector<Finding> Run() {
    CheckWholeFile();
    if (list.state == LaunchList::State::kRead) {
      CheckRemarks();
      CheckBehindTheEnd();
      CheckNumbers();
      for (const LaunchListItem& item : list.items) CheckItem(item);
    }
    SortFindings(findings);
    return std::move(findings);
  }

 private:
  // --- Findings

  struct Texts {
    std::string message;
    std::string consequence;
    std::string remedy;
  };

  void Add(const char* code, Severity severity, TextPlaces::Place place, const LaunchListItem* item, Texts texts) {
    Finding finding;
    finding.file = list.path;
    finding.line = place.line;
    finding.column = place.column;
    finding.code = code;
    finding.severity = severity;
    if (item != nullptr) {
      finding.item = item->number;
      finding.name = item->name;
    }
    finding.message = std::move(texts.message);
    finding.consequence = std::move(texts.consequence);
    finding.remedy = std::move(texts.remedy);
    findings.push_back(std::move(finding));
  }

  void AddForFile(const char* code, Severity severity, Texts texts) {
    Add(code, severity, {1, 1}, nullptr, std::move(texts));
  }

  void AddAt(size_t offset, const char* code, Severity severity, const LaunchListItem* item, Texts texts) {
    Add(code, severity, places.At(offset), item, std::move(texts));
  }

  // --- The file

  void CheckWholeFile() {
    switch (list.state) {
      case LaunchList::State::kNoFile:
        CheckMissingFile();
        break;
      case LaunchList::State::kEmpty:
        CheckEmptyFile();
        break;
      case LaunchList::State::kNotJson:
        CheckSyntax();
        break;
      case LaunchList::State::kNotObject:
        AddForFile("list-not-object", Severity::kError,
                   {std::string("The list is ") + KindName(list.document.root.kind) + ", not an object.", kEndsLogged,
                    "Write an object with the members \"0\", \"1\", \"2\", ..., one for each program."});
        break;
      case LaunchList::State::kRead:
        break;
    }
    constexpr mode_t kOthersWrite = S_IWGRP | S_IWOTH;
    if (list.state != LaunchList::State::kNoFile && (list.file.mode & kOthersWrite) != 0) {
      AddForFile(
          "list-writable", Severity::kWarning,
          {std::string("The list may be written by ") + ((list.file.mode & S_IWOTH) != 0 ? "everybody." : "its group."),
           "Who may write the list decides what the launcher's user runs.",
           "Take the permission away: chmod go-w " + Quoted(list.path)});
    }
  }

  void CheckMissingFile() {
    switch (list.file.state) {
      case FileContent::State::kMissing:
        AddForFile("unreadable", Severity::kError,
                   {"There is no such file.", kEndsSilently, "Correct the path, or write the list: launch-list(5)."});
        break;
      case FileContent::State::kNotAFile:
        AddForFile("not-a-file", Severity::kError,
                   {"The list is " + list.file.reason + ", not a file.",
                    "The launcher would read it for ever, or wait for it, and start nothing; SIGTERM does not end it.",
                    "Name the file itself."});
        break;
      case FileContent::State::kTooLarge:
        AddForFile("unreadable", Severity::kError,
                   {"The list " + list.file.reason + ", and is not read.",
                    "What the launcher makes of it is not known.", "Look whether this is a launch list at all."});
        break;
      default:
        AddForFile("unreadable", Severity::kError,
                   {"The list can't be read: " + list.file.reason + ".", kEndsSilently,
                    "Let the launcher's user read the file, and pass through the folders of its path."});
    }
  }

  void CheckEmptyFile() {
    if (list.file.bytes.empty()) {
      AddForFile("empty-file", Severity::kError,
                 {"The file is empty.", kEndsSilently, "Write the list: launch-list(5). A list of nothing is {}"});
    } else {
      AddForFile("empty-file", Severity::kError,
                 {"The file begins with a NUL byte, where the launcher takes its end to be.", kEndsLogged,
                  "Save the list as a text, in UTF-8."});
    }
  }

  bool StartsWith(std::string_view start) const {
    return std::string_view(list.file.bytes).substr(0, start.size()) == start;
  }

  void CheckSyntax() {
    using namespace std::string_view_literals;
    if (StartsWith("\xEF\xBB\xBF"sv)) {
      AddForFile("byte-order-mark", Severity::kError,
                 {"The file begins with a byte-order mark.", kEndsLogged, "Save it as UTF-8 without the mark."});
      return;
    }
    if (StartsWith("\xFF\xFE"sv) || StartsWith("\xFE\xFF"sv)) {
      AddForFile(
          "byte-order-mark", Severity::kError,
          {"The file begins with a byte-order mark: it is UTF-16.", kEndsLogged, "Save it as UTF-8 without the mark."});
      return;
    }
    const JsonDocument& document = list.document;
    if (document.too_deep) {
      AddAt(document.error_offset, "nested-too-deep", Severity::kError, nullptr,
            {document.error, kEndsLogged, "Write fewer objects and arrays inside each other."});
      return;
    }
    size_t offset = document.error_offset;
    std::string message = document.error;
    const size_t nul = list.file.bytes.find('\0');
    if (document.at_end && nul != std::string::npos) {
      offset = nul;
      message = "A NUL byte stands here, in the middle of the list; the launcher takes it for the end of the file.";
      if (nul == 1) message += " The list seems to be UTF-16.";
    }
    AddAt(offset, "not-json", Severity::kError, nullptr,
          {message, kEndsLogged, "Correct the text at this place; more mistakes may follow behind it."});
  }

  // --- The text

  // The item in which the offset lies, or null.
  const LaunchListItem* ItemAt(size_t offset) const {
    const auto behind =
        std::upper_bound(items_by_place.begin(), items_by_place.end(), offset,
                         [](size_t wanted, const LaunchListItem* item) { return wanted < item->member->begin; });
    if (behind == items_by_place.begin()) return nullptr;
    const LaunchListItem* const item = *std::prev(behind);
    return offset < item->member->value.end ? item : nullptr;
  }

  void CheckRemarks() {
    for (const LaunchListItem& item : list.items) items_by_place.push_back(&item);
    std::sort(items_by_place.begin(), items_by_place.end(),
              [](const LaunchListItem* a, const LaunchListItem* b) { return a->member->begin < b->member->begin; });
    for (const JsonRemark& remark : list.document.remarks) {
      const LaunchListItem* const item = ItemAt(remark.offset);
      switch (remark.kind) {
        case JsonRemark::Kind::kMemberTwice:
          AddAt(remark.offset, "member-twice", Severity::kWarning, item,
                {"The member " + Quoted(remark.text) + " stands in this object again, in line " +
                     std::to_string(places.At(remark.twin_offset).line) + ".",
                 "Only the last one counts; this one is not read.", "Remove or rename one of the two."});
          break;
        case JsonRemark::Kind::kNotUtf8:
          AddAt(remark.offset, "not-utf8", Severity::kWarning, item,
                {"This text is not UTF-8: " + Quoted(Shortened(remark.text)) + ".",
                 "The program gets these bytes as they are; in the log they are written as escapes.",
                 "Save the list in UTF-8."});
          break;
        case JsonRemark::Kind::kNotStandard:
          AddAt(remark.offset, "not-standard", Severity::kNote, item,
                {remark.text, "Other readers of JSON refuse the list.", "Write it as JSON has it."});
          break;
      }
    }
  }

  void CheckBehindTheEnd() {
    const std::string_view bytes = list.file.bytes;
    const size_t nul = std::min(bytes.find('\0'), bytes.size());
    const size_t offset = SkipBlanksAndComments(bytes.substr(0, nul), list.document.end);
    if (offset < nul) {
      AddAt(offset, "text-after-end", Severity::kWarning, nullptr,
            {"The list has ended before this text.", "The launcher passes over what follows the object.",
             "Remove it, or put it into the object, if it is meant to count."});
    } else if (nul < bytes.size()) {
      AddAt(nul, "text-after-end", Severity::kWarning, nullptr,
            {"A NUL byte follows the list.", "The launcher takes it for the end of the file: what follows is not read.",
             "Remove it and what follows, or save the list as a text in UTF-8."});
    }
  }

  // --- The items

  static bool IsLookedFor(const LaunchListItem& item) { return item.fate != Fate::kNeverRead; }

  void CheckNumbers() {
    next_number = std::count_if(list.items.begin(), list.items.end(), IsLookedFor);
    if (next_number > 0) return;
    if (list.document.root.kind == Kind::kNull) {
      AddForFile("no-items", Severity::kWarning,
                 {"The list is null.", "The launcher starts nothing, and waits for SIGTERM.",
                  "Write an object with the members \"0\", \"1\", \"2\", ..., one for each program."});
    } else {
      AddForFile("no-items", Severity::kWarning,
                 {"The list has no item \"0\".", "The launcher starts nothing, says so nowhere, and waits for SIGTERM.",
                  "Number the items \"0\", \"1\", \"2\", ..., if there are to be any."});
    }
  }

  void CheckItem(const LaunchListItem& item) {
    if (item.fate == Fate::kNeverRead) {
      AddNeverRead(item);
      return;
    }
    const JsonValue& value = item.member->value;
    if (value.kind == Kind::kNull) {
      AddAt(item.member->begin, "item-nameless", Severity::kError, &item,
            {"Item " + Quoted(item.key) + " is null.", "The launcher skips it, and logs that an item has no name.",
             "Give it a \"name\" and a \"program\", or remove it and renumber those behind it."});
      return;
    }
    if (value.kind != Kind::kObject) {
      AddAt(item.member->begin, "item-not-object", Severity::kError, &item,
            {"Item " + Quoted(item.key) + " is " + KindName(value.kind) + ", not an object.", kEndsLogged,
             "Write an object with the members \"name\" and \"program\"."});
      return;
    }
    CheckMemberNames(item);
    if (item.name_member == nullptr) {
      AddAt(item.member->begin, "item-nameless", Severity::kError, &item,
            {"Item " + Quoted(item.key) + " has no \"name\".",
             "The launcher skips it, and logs that an item has no name.", "Give it a \"name\"."});
      return;
    }
    CheckName(item);
    CheckProgramOf(item);
    CheckArguments(item);
    CheckRunOnce(item);
  }

  void AddNeverRead(const LaunchListItem& item) {
    const std::string next = Quoted(std::to_string(next_number));
    const bool is_number = item.number.has_value();
    const std::string message =
        is_number ? "There is no item " + next + " before this item, " + Quoted(item.key) + "."
                  : "The launcher does not look for an item called " + Quoted(Shortened(item.key)) + ".";
    AddAt(item.member->begin, "item-never-read", Severity::kError, &item,
          {message, "It is never read, and nothing says so.",
           "Number the items \"0\", \"1\", \"2\", ... without a gap, a sign or leading zeros; " + next +
               " is the next one."});
  }

  void CheckMemberNames(const LaunchListItem& item) {
    static const std::vector<std::string> kKnown = {"name", "program", "args", "argc", "run_once"};
    for (const JsonMember& member : item.member->value.members) {
      if (!member.counts || std::find(kKnown.begin(), kKnown.end(), member.name) != kKnown.end()) continue;
      const std::string meant = NearestOf(member.name, kKnown);
      AddAt(member.begin, "member-unknown", Severity::kWarning, &item,
            {"An item has no member " + Quoted(Shortened(member.name)) + "." +
                 (meant.empty() ? "" : " Is " + Quoted(meant) + " meant?"),
             "The launcher does not read it.",
             meant.empty() ? "Remove it; an item has name, program, argc, args and run_once."
                           : "Rename it to " + Quoted(meant) + ", or remove it."});
    }
  }

  void CheckName(const LaunchListItem& item) {
    const JsonValue& value = item.name_member->value;
    if (IsArrayOrObject(value.kind)) {
      AddAt(value.begin, "name-not-text", Severity::kError, &item,
            {std::string("The name is ") + KindName(value.kind) + ", not a text.", kEndsLogged,
             "Write the name as a text, in quotes."});
      return;
    }
    if (value.kind == Kind::kNumber || value.kind == Kind::kBoolean) {
      AddAt(value.begin, "name-not-text", Severity::kWarning, &item,
            {std::string("The name is ") + KindName(value.kind) + ", not a text.",
             "The item is called " + Quoted(*item.name) + ".", "Write the name as a text, in quotes."});
    }
    if (item.name->empty()) {
      AddAt(value.begin, "name-odd", Severity::kWarning, &item,
            {value.kind == Kind::kNull ? "The name is null, which makes it empty." : "The name is empty.",
             "In the log nothing stands where the item's name should.", "Give the item a name."});
    } else if (HasHiddenCharacters(value.text)) {
      AddAt(value.begin, "name-odd", Severity::kWarning, &item,
            {"The name holds characters that can't be shown: " + Quoted(Shortened(value.text)) + ".",
             value.text.find('\0') != std::string::npos ? "It ends before the NUL: " + Quoted(*item.name) + "."
                                                        : "In the log they are written as escapes.",
             "Give the item a name of letters that can be seen."});
    }
    const auto [found, is_new] = items_by_name.try_emplace(*item.name, &item);
    if (is_new) return;
    const LaunchListItem& earlier = *found->second;
    AddAt(value.begin, "name-twice", Severity::kError, &item,
          {"Item " + Quoted(earlier.key) + ", in line " + std::to_string(places.At(earlier.member->begin).line) +
               ", has the name " + Quoted(Shortened(*item.name)) + " as well.",
           "This item replaces it: both programs run for a moment, then the earlier one's is killed and never started "
           "again.",
           "Give each item a name of its own."});
    found->second = &item;
  }

  static bool HasHiddenCharacters(std::string_view text) {
    while (!text.empty()) {
      const size_t bytes = CharacterBytes(text);
      if (bytes > 0 && IsHidden(text.substr(0, bytes))) return true;
      text.remove_prefix(std::max<size_t>(bytes, 1));
    }
    return false;
  }

  // --- Programs

  void CheckProgramOf(const LaunchListItem& item) {
    static constexpr const char* kWriteText = "Write the program's path as a text, in quotes.";
    if (item.program_member == nullptr) {
      AddAt(item.member->begin, "program-missing", Severity::kError, &item,
            {"Item " + Quoted(item.key) + " has no \"program\".", kNothingStarted, "Give it the path of a program."});
      return;
    }
    const JsonValue& value = item.program_member->value;
    if (IsArrayOrObject(value.kind)) {
      AddAt(value.begin, "program-not-text", Severity::kError, &item,
            {std::string("The program is ") + KindName(value.kind) + ", not a text.", kAborts, kWriteText});
    } else if (item.program.empty()) {
      AddAt(value.begin, "program-missing", Severity::kError, &item,
            {value.kind == Kind::kNull ? "The program is null." : "The program's path is empty.", kNothingStarted,
             "Give it the path of a program."});
    } else if (value.kind != Kind::kText) {
      AddAt(value.begin, "program-not-text", Severity::kError, &item,
            {std::string("The program is ") + KindName(value.kind) + ", not a text.",
             "It is taken for the path " + Quoted(item.program) + ".", kWriteText});
    } else if (value.text.size() != item.program.size()) {
      AddAt(value.begin, "program-not-text", Severity::kError, &item,
            {"The program's path holds a NUL.", "It ends there: " + Quoted(Shortened(item.program)) + ".",
             "Write the path without \\u0000."});
    } else if (item.program.front() != '/') {
      AddRelative(item, value);
    } else {
      CheckProgramFile(item, value);
    }
  }

  void AddRelative(const LaunchListItem& item, const JsonValue& value) {
    Texts texts{"The path " + Quoted(Shortened(item.program)) + " is relative.",
                "It is taken from the launcher's working directory, which is / for a launch agent.",
                "Write the whole path, from / on."};
    if (item.program.front() == '~') {
      texts.message = "The path begins with ~, which is not replaced by the home folder.";
    } else if (item.program.find('$') != std::string::npos) {
      texts.message = "The path holds a $; variables are not replaced.";
    } else if (item.program.find('/') == std::string::npos) {
      texts.message = Quoted(Shortened(item.program)) + " is a name without a folder; PATH is not searched.";
    }
    AddAt(value.begin, "program-relative", Severity::kWarning, &item, std::move(texts));
  }

  void CheckProgramFile(const LaunchListItem& item, const JsonValue& value) {
    const auto [found, is_new] = problems.try_emplace(item.program);
    if (is_new) found->second = CheckProgram(item.program);
    const ProgramProblem& problem = found->second;
    if (problem.code.empty()) return;
    AddAt(value.begin, problem.code.c_str(), Severity::kError, &item,
          {Shortened(ShownText(item.program)) + " " + problem.message + ".",
           item.run_once ? "The start fails, and is not tried again; the log shows an end with status = 0."
                         : "Each start fails without a word in the log, and leaves one more launcher process behind.",
           problem.remedy});
  }

  // --- Arguments

  void CheckArguments(const LaunchListItem& item) {
    int64_t argc = 0;
    if (item.argc_member != nullptr && !CheckArgc(item, item.argc_member->value, argc)) return;
    if (argc > 0) {
      CheckArgs(item, argc);
    } else {
      CheckArgsThatAreNotAskedFor(item);
    }
  }

  // Gives the number of arguments that are passed. False when that is an error, so that `args` can't be judged.
  bool CheckArgc(const LaunchListItem& item, const JsonValue& value, int64_t& argc) {
    const auto add = [&](const char* code, Severity severity, Texts texts) {
      AddAt(value.begin, code, severity, &item, std::move(texts));
      return severity != Severity::kError;
    };
    static constexpr const char* kRemedy = "Write how many arguments are passed, as a whole number without quotes.";
    if (value.kind == Kind::kText || IsArrayOrObject(value.kind)) {
      return add("argc-not-number", Severity::kError,
                 {std::string("\"argc\" is ") + KindName(value.kind) + ", not a number.", kChildAborts, kRemedy});
    }
    const std::string shown = value.kind == Kind::kNull ? "null" : Quoted(Shortened(value.text));
    if (!ConvertToWholeNumber(value, argc)) {
      return add("argc-out-of-range", Severity::kError,
                 {"\"argc\" is " + shown + ", beyond the range of 64 bits.", kChildAborts, kRemedy});
    }
    const int64_t passed = static_cast<int32_t>(argc);
    if (passed != argc) {
      return add("argc-out-of-range", Severity::kError,
                 {"\"argc\" is " + shown + ", beyond the range of 32 bits.",
                  "Its low 32 bits count, as " + std::to_string(passed) + ".", kRemedy});
    }
    if (argc > kMostArgumentsEverywhere) {
      return add("argc-out-of-range", Severity::kError,
                 {"\"argc\" is " + shown + "; more than " + std::to_string(kMostArgumentsEverywhere) +
                      " arguments don't fit on every platform.",
                  "Where they don't, each start fails without a word in the log.",
                  "Pass fewer arguments, or put them into a file that the program reads."});
    }
    if (argc < 0) {
      return add("argc-out-of-range", Severity::kWarning,
                 {"\"argc\" is " + shown + ", a negative number.", "No arguments are passed.", kRemedy});
    }
    const std::string taken = "It is taken for " + std::to_string(argc) + ".";
    if (value.kind != Kind::kNumber) {
      return add(
          "argc-not-number", Severity::kWarning,
          {"\"argc\" is " + (value.kind == Kind::kNull ? shown : value.text) + ", not a number.", taken, kRemedy});
    }
    const double exact = JsonObject(value.text.data(), static_cast<unsigned int>(value.text.size()));
    if (exact != std::trunc(exact)) {
      return add("argc-not-number", Severity::kWarning,
                 {"\"argc\" is " + shown + ", not a whole number.", taken, kRemedy});
    }
    return true;
  }

  static bool HasArguments(const JsonMember* args) {
    if (args == nullptr || args->value.kind == Kind::kNull) return false;
    return args->value.kind != Kind::kObject || !args->value.members.empty();
  }

  // How many arguments `args` seems to hold: up to its largest number.
  static int64_t MeantArguments(const JsonValue& args) {
    int64_t meant = 0;
    for (const JsonMember& member : args.members) {
      const std::optional<int64_t> index = ItemNumber(member.name);
      if (index && *index < kMostArgumentsEverywhere) meant = std::max(meant, *index + 1);
    }
    return meant;
  }

  static std::string ArgcRemedy(const JsonValue& args) {
    const int64_t meant = MeantArguments(args);
    return meant > 0 ? "Write \"argc\": " + std::to_string(meant)
                     : "Number the arguments \"0\", \"1\", ... in an object, and write their count as \"argc\".";
  }

  void CheckArgsThatAreNotAskedFor(const LaunchListItem& item) {
    if (!HasArguments(item.args_member)) return;
    AddAt(item.args_member->begin, "args-ignored", Severity::kWarning, &item,
          {item.argc_member == nullptr ? "There is \"args\", but no \"argc\"."
                                       : "There is \"args\", but \"argc\" asks for no arguments.",
           "The program is started without arguments.", ArgcRemedy(item.args_member->value)});
  }

  void CheckArgs(const LaunchListItem& item, int64_t argc) {
    if (item.args_member == nullptr) {
      AddMissing(item, item.argc_member->begin, argc, 0);
      return;
    }
    const JsonValue& args = item.args_member->value;
    if (args.kind == Kind::kNull) {
      AddMissing(item, item.args_member->begin, argc, 0);
      return;
    }
    if (args.kind != Kind::kObject) {
      AddAt(args.begin, "args-not-object", Severity::kError, &item,
            {std::string("\"args\" is ") + KindName(args.kind) + ", not an object.", kChildAborts,
             "Write an object: \"args\": { \"0\": \"first\", \"1\": \"second\" }"});
      return;
    }
    int64_t present = 0;
    int64_t ignored = 0;
    const JsonMember* first_ignored = nullptr;
    for (const JsonMember& member : args.members) {
      if (!member.counts) continue;
      const std::optional<int64_t> index = ItemNumber(member.name);
      if (index && *index < argc) {
        ++present;
        CheckArgument(item, member);
      } else {
        ++ignored;
        if (first_ignored == nullptr) first_ignored = &member;
      }
    }
    if (present < argc) AddMissing(item, item.args_member->begin, argc, present);
    if (first_ignored != nullptr) AddIgnored(item, *first_ignored, ignored, argc);
  }

  void CheckArgument(const LaunchListItem& item, const JsonMember& member) {
    const JsonValue& value = member.value;
    const std::string argument = "Argument " + Quoted(member.name) + " is " + KindName(value.kind) + ", not a text.";
    static constexpr const char* kRemedy = "Write it as a text, in quotes.";
    if (IsArrayOrObject(value.kind)) {
      AddAt(value.begin, "arg-not-text", Severity::kError, &item, {argument, kChildAborts, kRemedy});
    } else if (value.kind != Kind::kText) {
      const std::string passed = item.Argument(*ItemNumber(member.name));
      AddAt(value.begin, "arg-not-text", Severity::kWarning, &item,
            {argument,
             "The program gets " + Quoted(passed) +
                 (value.kind == Kind::kNumber && passed != value.text ? ": a number loses its spelling." : "."),
             kRemedy});
    } else if (value.text.find('\0') != std::string::npos) {
      AddAt(value.begin, "arg-not-text", Severity::kWarning, &item,
            {"Argument " + Quoted(member.name) + " holds a NUL.",
             "The program gets what stands before it: " + Quoted(Shortened(item.Argument(*ItemNumber(member.name)))) +
                 ".",
             "Write it without \\u0000."});
    }
  }

  void AddMissing(const LaunchListItem& item, size_t offset, int64_t argc, int64_t present) {
    int64_t first = 0;
    while (item.arguments.count(first) != 0) ++first;
    AddAt(offset, "args-missing", Severity::kWarning, &item,
          {"\"argc\" asks for " + Plural(argc, "argument") + ", and \"args\" holds " + std::to_string(present) + ": " +
               Quoted(std::to_string(first)) + (argc - present > 1 ? " is the first that is missing." : " is missing."),
           "The program gets an empty text for each that is missing.",
           "Write the missing arguments, or correct \"argc\"."});
  }

  void AddIgnored(const LaunchListItem& item, const JsonMember& first, int64_t count, int64_t argc) {
    const std::string argument = Quoted(Shortened(first.name));
    const bool is_number = ItemNumber(first.name).has_value();
    const std::string reason = is_number ? "\"argc\" is " + std::to_string(argc) : argument + " is not a number";
    AddAt(first.begin, "args-ignored", Severity::kWarning, &item,
          {"Of \"args\", " + argument + (count > 1 ? " and " + Plural(count - 1, "other") : "") +
               (count > 1 ? " are" : " is") + " not passed: " + reason + ".",
           "The program gets " + Plural(argc, "argument") + ".", ArgcRemedy(item.args_member->value)});
  }

  // --- The rest

  void CheckRunOnce(const LaunchListItem& item) {
    if (item.run_once_member == nullptr) return;
    const JsonValue& value = item.run_once_member->value;
    if (value.kind == Kind::kBoolean) return;
    const bool is_converted = item.run_once_converts == LaunchListItem::Converts::kYes;
    AddAt(value.begin, "run-once-not-boolean", is_converted ? Severity::kWarning : Severity::kError, &item,
          {std::string("\"run_once\" is ") + KindName(value.kind) + ", neither true nor false.",
           is_converted ? std::string("It is taken for ") + (item.run_once ? "true." : "false.")
                        : "One second after the program's first end the launcher ends on SIGABRT without a word; the "
                          "programs of the other items go on without it.",
           "Write true or false, without quotes."});
  }

  const LaunchList& list;
  const TextPlaces places;
  std::vector<Finding> findings;
  std::vector<const LaunchListItem*> items_by_place;
  std::unordered_map<std::string, const LaunchListItem*> items_by_name;
  std::unordered_map<std::string, ProgramProblem> problems;  // Several items may run one program.
  int64_t next_number = 0;
};

}  // namespace

std::vector<Finding> CheckList(const LaunchList& list) { return ListCheck(list).Run(); }
