// What `check` says the launcher will do is what the launcher does: generated lists, whole and damaged ones, are read
// by both.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "common/strings/replace.h"
#include "launcherctl/check_list.h"
#include "launcherctl/launch_list_reader.h"
#include "tests/support/bundle.h"
#include "tests/support/files.h"
#include "tests/support/launcher_process.h"
#include "tests/support/made_up_json.h"
#include "tests/support/recording.h"
#include "tests/support/wait_until.h"

using Fate = LaunchListItem::Fate;
using Converts = LaunchListItem::Converts;

// --- Lists

// The programs that items name, beside what is none.
struct Programs {
  std::string well;    // tell_arguments
  std::string script;  // A script that runs it.
  std::string no_permission;
  std::string no_format;
  std::string no_interpreter;
};

// In their places while a list is made up and damaged: a seed has the same list wherever this folder lies.
static const Programs kStandIns = {"/@well", "/@script", "/@no-permission", "/@no-format", "/@no-interpreter"};

static std::string WithPrograms(std::string list, const Programs& programs) {
  replace_all(list, kStandIns.well, programs.well);
  replace_all(list, kStandIns.script, programs.script);
  replace_all(list, kStandIns.no_permission, programs.no_permission);
  replace_all(list, kStandIns.no_format, programs.no_format);
  replace_all(list, kStandIns.no_interpreter, programs.no_interpreter);
  return list;
}

static std::string InQuotes(const std::string& text) { return "\"" + text + "\""; }

static std::string MadeUpName(std::mt19937& random) {
  static const char* const kNames[] = {"\"a\"",         "\"b\"", "\"c\"", "\"d\"",   "\"\"",    "\"\xC3\xA4 b\"",
                                       "\"a\\u0000x\"", "1",     "1.50",  "\"1.5\"", "true",    "null",
                                       "1e3",           "\"e\"", "\"f\"", "\"g\"",   "\"e f\"", "\"\xFF\""};
  if (random() % 40 == 0) return random() % 2 == 0 ? "[]" : "{\"a\": 1}";
  return OneOf(kNames, random);
}

static std::string MadeUpProgram(std::mt19937& random) {
  switch (random() % 24) {
    case 0:
      return InQuotes(kStandIns.script);
    case 1:
      return InQuotes(kStandIns.no_permission);
    case 2:
      return InQuotes(kStandIns.no_format);
    case 3:
      return InQuotes(kStandIns.no_interpreter);
    case 4:
      return "\"/nonexistent/program\"";
    case 5:
      return "\"/tmp\"";
    case 6:
      return "\"\"";
    case 7:
      return "null";
    case 8:
      return InQuotes(kStandIns.well + "\\u0000x");
    case 9:
      return random() % 3 == 0 ? "[\"/bin/sh\"]" : "\"\\u0000\"";
    default:
      return InQuotes(kStandIns.well);
  }
}

static std::string MadeUpArgc(std::mt19937& random) {
  static const char* const kNumbers[] = {"0",
                                         "1",
                                         "2",
                                         "3",
                                         "1",
                                         "2",
                                         "-1",
                                         "-2147483649",
                                         "1.9",
                                         "2.0",
                                         "true",
                                         "4294967298",
                                         "null",
                                         "01",
                                         "-",
                                         "9223372036854775807",
                                         "1e30",
                                         "\"2\"",
                                         "[]",
                                         "{}",
                                         "9223372036854775808",
                                         "1e-400"};
  return OneOf(kNumbers, random);
}

static std::string MadeUpArgs(std::mt19937& random) {
  static const char* const kKeys[] = {"\"0\"", "\"1\"", "\"2\"", "\"0\"", "\"1\"", "\"01\"", "\"x\"", "\"\\u0030\""};
  static const char* const kArguments[] = {"\"a\"", "\"\"",    "\"b c\"", "\"\xC3\xA4\"", "\"\xFF\"", "\"x\\u0000y\"",
                                           "5",     "1e3",     "-0.0",    "null",         "true",     "[]",
                                           "{}",    "\"\\n\"", "\"a\"",   "\"b\"",        "\"c\""};
  switch (random() % 12) {
    case 0:
      return "[\"a\"]";
    case 1:
      return "null";
    case 2:
      return "\"a\"";
    default:
      break;
  }
  std::string args = "{";
  for (size_t i = 0, count = random() % 4; i < count; ++i) {
    if (i > 0) args += ", ";
    args += OneOf(kKeys, random);
    args += std::string(": ") + OneOf(kArguments, random);
  }
  return args + "}";
}

static std::string MadeUpItem(std::mt19937& random) {
  static const char* const kNoObjects[] = {"null", "[]", "5", "\"x\"", "true"};
  static const char* const kTruths[] = {"true", "false", "true", "1", "0", "null", "0.5", "\"true\"", "[]"};
  if (random() % 25 == 0) return OneOf(kNoObjects, random);
  std::vector<std::string> members;
  const auto add = [&](const char* name, const std::string& value) {
    members.push_back(InQuotes(name) + ": " + value);
  };
  if (random() % 20 != 0) add("name", MadeUpName(random));
  if (random() % 20 != 0) add("program", MadeUpProgram(random));
  if (random() % 2 == 0) add("argc", MadeUpArgc(random));
  if (random() % 2 == 0) add("args", MadeUpArgs(random));
  if (random() % 3 == 0) add("run_once", OneOf(kTruths, random));
  if (random() % 10 == 0) add("name", MadeUpName(random));
  if (random() % 10 == 0) add("argv", "[]");
  for (size_t i = members.size(); i > 1; --i) std::swap(members[i - 1], members[random() % i]);
  std::string item = "{";
  for (const std::string& member : members) item += (item.size() > 1 ? ", " : "") + MadeUpBlank(random) + member;
  return item + "}";
}

static std::string MadeUpList(std::mt19937& random) {
  std::string list = "{\"$schema\": \"x\"";
  size_t number = 0;
  for (size_t count = random() % 5; number < count; ++number) {
    list += ",\n" + InQuotes(std::to_string(number)) + ": " + MadeUpItem(random);
    if (random() % 15 == 0) list += ", " + InQuotes(std::to_string(number)) + ": " + MadeUpItem(random);
  }
  list += ",\n" + InQuotes(std::to_string(number)) + ": {}";  // Logged when everything before it has been started.
  static const char* const kNeverRead[] = {"01", "-1", "1.0", " 1", "99"};
  if (random() % 6 == 0) {
    list += ",\n" + InQuotes(OneOf(kNeverRead, random));
    list += ": " + MadeUpItem(random);
  }
  list += "\n}";
  switch (random() % 12) {
    case 0:
      list += " and so on";
      break;
    case 1:
      list.push_back('\0');
      list += "x";
      break;
    case 2:
      return Damaged(list, random);
    case 3:
      if (random() % 3 == 0) return "\xEF\xBB\xBF" + list;
      break;
    case 4:
      if (random() % 3 == 0) list.insert(random() % list.size(), 1, '\0');
      break;
    default:
      break;
  }
  return list;
}

// --- What is expected

struct Expectation {
  enum class End { kWaits, kExits0, kAborts, kAbortsAfterAnEnd };
  End end = End::kWaits;
  bool logs_parse_error = false;
  std::multiset<std::string> starts;    // Of all items, by name.
  std::multiset<std::string> commands;  // As tell_arguments tells them.
  std::set<std::string>
      replaced_commands;                // The same of items that are replaced, which may be killed before they tell.
  std::multiset<std::string> empty;     // Names of items without a program.
  std::multiset<std::string> aborting;  // Names of items whose child ends on SIGABRT.
  std::multiset<std::string> failing;   // Names of items whose start fails.
  size_t skipped = 0;
};

static std::string Hex(const std::string& text) {
  static constexpr char kHexDigits[] = "0123456789abcdef";
  std::string digits;
  for (const char byte : text) {
    digits += kHexDigits[static_cast<unsigned char>(byte) >> 4];
    digits += kHexDigits[byte & 0x0F];
  }
  return digits;
}

static std::set<std::string> CodesOf(const std::vector<Finding>& findings, const LaunchListItem& item) {
  std::set<std::string> codes;
  for (const Finding& finding : findings) {
    if (finding.item == item.number && finding.severity == Severity::kError) codes.insert(finding.code);
  }
  return codes;
}

static bool HasCode(const std::vector<Finding>& findings, const std::string& code) {
  return std::any_of(findings.begin(), findings.end(), [&](const Finding& finding) { return finding.code == code; });
}

// A damaged list may spell a path in another way: with one slash more, say.
static bool IsSameFile(const std::string& path, const std::string& other) {
  struct stat one = {};
  struct stat two = {};
  return stat(path.c_str(), &one) == 0 && stat(other.c_str(), &two) == 0 && one.st_dev == two.st_dev &&
         one.st_ino == two.st_ino;
}

static std::string AsRecorded(std::string name) {
  std::replace(name.begin(), name.end(), '\n', '?');
  std::replace(name.begin(), name.end(), '\t', '?');
  return name;
}

// From the reader's items, held to the findings: each bad end has its error, and where no error is, all is well.
static Expectation Expect(const LaunchList& list, const std::vector<Finding>& findings, const Programs& programs) {
  Expectation expected;
  if (list.state != LaunchList::State::kRead) {
    expected.end = Expectation::End::kExits0;
    expected.logs_parse_error = true;
    EXPECT_TRUE(HasCode(findings, "not-json") || HasCode(findings, "empty-file") ||
                HasCode(findings, "byte-order-mark") || HasCode(findings, "list-not-object"));
    return expected;
  }
  for (const LaunchListItem& item : list.items) {
    if (item.fate == Fate::kNotReached || item.fate == Fate::kNeverRead) continue;
    const std::set<std::string> codes = CodesOf(findings, item);
    if (item.fate == Fate::kSkipped) {
      ++expected.skipped;
      EXPECT_EQ(codes.count("item-nameless"), 1U);
      continue;
    }
    if (item.fate == Fate::kEndsReading) {
      expected.logs_parse_error = true;
      EXPECT_EQ(codes.count("item-not-object") + codes.count("name-not-text"), 1U);
      if (expected.end == Expectation::End::kWaits) expected.end = Expectation::End::kExits0;
      continue;
    }
    if (item.program_converts == Converts::kEndsLauncher) {
      // It may end before anything else is seen.
      expected.end = Expectation::End::kAborts;
      EXPECT_EQ(codes.count("program-not-text"), 1U);
      continue;
    }
    const std::string name = AsRecorded(*item.name);
    expected.starts.insert(name);
    const bool is_replaced = item.fate == Fate::kReplaced;
    if (item.run_once_converts == Converts::kEndsLauncher) {
      EXPECT_EQ(codes.count("run-once-not-boolean"), 1U);
      if (expected.end == Expectation::End::kWaits) expected.end = Expectation::End::kAbortsAfterAnEnd;
    }
    if (item.program.empty()) {
      if (!is_replaced) expected.empty.insert(name);
      EXPECT_EQ(codes.count("program-missing"), 1U);
    } else if (item.arguments_convert == Converts::kEndsChild) {
      if (!is_replaced) expected.aborting.insert(name);
      EXPECT_EQ(codes.count("argc-not-number") + codes.count("argc-out-of-range") + codes.count("args-not-object") +
                    codes.count("arg-not-text"),
                1U);
    } else if (item.argument_count > kMostArgumentsEverywhere) {  // The lists ask for all that 32 bits hold.
      if (!is_replaced) expected.failing.insert(name);
      EXPECT_EQ(codes.count("argc-out-of-range"), 1U);
    } else if (codes.count("program-not-found") + codes.count("program-not-executable") +
                   codes.count("interpreter-not-found") >
               0) {
      if (!is_replaced) expected.failing.insert(name);
    } else if (IsSameFile(item.program, programs.well)) {
      std::string command = Hex(item.program) + " ";
      for (int64_t i = 0; i < item.argument_count; ++i) command += Hex(item.Argument(i)) + " ";
      if (is_replaced) {
        expected.replaced_commands.insert(command);
      } else {
        expected.commands.insert(command);
      }
    }
  }
  return expected;
}

// --- What happens

class Run {
 public:
  Run(const Bundle& bundle, const std::string& prefix, const std::string& text, const Programs& programs)
      : list_text(text), recording(bundle.PathOf(prefix + ".recording")), told(bundle.PathOf(prefix + ".told")) {
    const std::string path = bundle.PathOf(prefix + ".json");
    WriteFile(path, text);
    EXPECT_EQ(chmod(path.c_str(), 0600), 0);
    const LaunchList list = ReadLaunchList(path);
    findings = CheckList(list);
    expected = Expect(list, findings, programs);
    LauncherProcess::Options options;
    options.environment = {{"RECORDING", recording}, {"ARGUMENTS", told}};
    launcher = std::make_unique<LauncherProcess>(bundle, std::vector<std::string>{"agent", path}, options);
  }

  // Waits for what is expected, and looks whether anything else has happened.
  void Verify() {
    switch (expected.end) {
      case Expectation::End::kExits0:
        EXPECT_EQ(launcher->ExitStatus(), 0);
        break;
      case Expectation::End::kAborts:
      case Expectation::End::kAbortsAfterAnEnd:
        EXPECT_EQ(launcher->WaitStatus().value_or(0) & 0x7F, SIGABRT);
        return;
      case Expectation::End::kWaits:
        VerifyItems();
        EXPECT_TRUE(launcher->IsRunning());
    }
    EXPECT_EQ(Logged("Error while parsing saved json string.").size(), expected.logs_parse_error ? 1U : 0U);
    EXPECT_EQ(Logged("There is an item has no name.").size(), expected.skipped);
    EXPECT_EQ(FirstStarts(), expected.starts);
  }

  // Looks whether a sanitizer reports anything, too.
  void End() { launcher.reset(); }

  const std::string list_text;
  std::vector<Finding> findings;

 private:
  std::vector<RecordedCall> Logged(const std::string& part) const { return LoggedWith(recording, part); }

  // The names behind "Start to fork" of the launcher itself: as many as items have been read, then come the restarts.
  std::multiset<std::string> FirstStarts() const {
    static const std::string kStart = "Start to fork ";
    std::multiset<std::string> names;
    for (const RecordedCall& call : Logged(kStart)) {
      if (call.process != launcher->pid()) continue;
      const std::string name = call.text.substr(call.text.find(kStart) + kStart.size());
      if (names.count(name) < std::max<size_t>(expected.starts.count(name), 1)) names.insert(name);
    }
    return names;
  }

  static bool Holds(const std::multiset<std::string>& all, const std::multiset<std::string>& part) {
    return std::includes(all.begin(), all.end(), part.begin(), part.end());
  }

  std::multiset<std::string> Told() const {
    std::multiset<std::string> lines;
    for (const std::string& line : ReadLines(told)) lines.insert(line);
    return lines;
  }

  void VerifyItems() {
    EXPECT_TRUE(WaitUntil([&] { return Logged("There is an item has no name.").size() == expected.skipped; }));
    EXPECT_TRUE(WaitUntil([&] { return FirstStarts() == expected.starts; }));
    EXPECT_TRUE(WaitUntil([&] { return Holds(Told(), expected.commands); }));
    for (const std::string& name : expected.empty) {
      EXPECT_TRUE(WaitUntil([&] { return !Logged("] program path of " + name + " is empty").empty(); })) << name;
    }
    for (const std::string& name : expected.aborting) {
      EXPECT_TRUE(WaitUntil([&] { return HasEnd(name, "6") || HasEnd(name, "134"); })) << name;
    }
    // A failed start shows a second later: its process starts the item again, or ends with 0.
    for (const std::string& name : expected.failing) {
      EXPECT_TRUE(WaitUntil([&] { return HasEnd(name, "0") || IsStartedByAnother(name); })) << name;
    }
    // Nothing else was started.
    for (const std::string& line : Told()) {
      EXPECT_TRUE(expected.commands.count(line) + expected.replaced_commands.count(line) > 0) << line;
    }
  }

  // Whether the launcher has logged an end of the item with this status.
  bool HasEnd(const std::string& name, const std::string& status) const {
    const std::string before = "[LAUNCHER  ] " + name + " ";
    const std::string behind = ", status = " + status;
    for (const RecordedCall& call : Logged(" is killed. ret = ")) {
      const std::string& text = call.text;
      if (call.process != launcher->pid() || text.substr(0, before.size()) != before) continue;
      // Behind the name is the process id: no other item's name begins with this one's and a blank.
      if (text.find(' ', before.size()) != text.find(" is killed. ret = ")) continue;
      if (text.size() > behind.size() && text.substr(text.size() - behind.size()) == behind) return true;
    }
    return false;
  }

  bool IsStartedByAnother(const std::string& name) const {
    for (const RecordedCall& call : Logged("Start to fork ")) {
      if (call.process != launcher->pid() && call.text == "[LAUNCHER  ] Start to fork " + name) return true;
    }
    return false;
  }

  const std::string recording;
  const std::string told;
  Expectation expected;
  std::unique_ptr<LauncherProcess> launcher;
};

static std::string ListOfFindings(const std::vector<Finding>& findings) {
  std::string text;
  for (const Finding& finding : findings) text += finding.code + ": " + finding.message + "\n";
  return text;
}

// Each list has a launcher of its own; as many at once as make waiting worth while.
static void CompareOnMadeUpLists(unsigned seed) {
  constexpr size_t kLists = 60;
  constexpr size_t kAtOnce = 20;
  const Bundle bundle(Bundle::Logger::kRecording);
  Programs programs;
  programs.well = TELL_ARGUMENTS;
  programs.script = bundle.PathOf("script");
  programs.no_permission = bundle.PathOf("no-permission");
  programs.no_format = bundle.PathOf("no-format");
  programs.no_interpreter = bundle.PathOf("no-interpreter");
  const auto write = [](const std::string& path, const std::string& text, mode_t mode) {
    WriteFile(path, text);
    ASSERT_EQ(chmod(path.c_str(), mode), 0);
  };
  write(programs.script, "#!/bin/sh\nexit 0\n", 0755);
  write(programs.no_permission, "#!/bin/sh\nexit 0\n", 0644);
  write(programs.no_format, "exit 0\n", 0755);
  write(programs.no_interpreter, "#!/nonexistent/sh\nexit 0\n", 0755);

  std::mt19937 random(seed);
  for (size_t first = 0; first < kLists; first += kAtOnce) {
    std::vector<std::unique_ptr<Run>> runs;
    for (size_t i = first; i < first + kAtOnce; ++i) {
      const std::string list = WithPrograms(MadeUpList(random), programs);
      runs.push_back(std::make_unique<Run>(bundle, std::to_string(i), list, programs));
    }
    for (const auto& run : runs) {
      run->Verify();
      run->End();
      if (testing::Test::HasFailure()) {
        FAIL() << "seed " << seed << ", list:\n" << run->list_text << "\n" << ListOfFindings(run->findings);
      }
    }
  }
}

class CheckAgainstTheLauncher : public testing::TestWithParam<unsigned> {};

TEST_P(CheckAgainstTheLauncher, SaysWhatTheLauncherDoes) { CompareOnMadeUpLists(GetParam()); }

INSTANTIATE_TEST_SUITE_P(Seeds, CheckAgainstTheLauncher, testing::Range(1U, 9U));
