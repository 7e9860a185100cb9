#include "launcherctl/check_list.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "tests/support/files.h"
#include "tests/support/temp_folder.h"

using Strings = std::vector<std::string>;

static std::vector<Finding> Check(const std::string& text) { return CheckList(ParseLaunchList("list.json", text)); }

// "2:7 error name-twice" for each finding.
static Strings Described(const std::vector<Finding>& findings) {
  Strings described;
  for (const Finding& finding : findings) {
    described.push_back(std::to_string(finding.line) + ":" + std::to_string(finding.column) + " " +
                        SeverityName(finding.severity) + " " + finding.code);
  }
  return described;
}

// The tables' lists hold a mark in front of each place where a finding is expected: <!code> for an error, <?code> for a
// warning, <.code> for a note.
struct Marked {
  std::string list;  // Without the marks.
  Strings findings;  // As `Described` has them.
};

static Marked WithoutMarks(const std::string& text) {
  static const std::regex mark("<([!?.])([a-z0-9-]+)>");
  Marked marked;
  int line = 1;
  int column = 1;
  for (size_t at = 0; at < text.size();) {
    std::smatch found;
    if (std::regex_search(text.begin() + static_cast<std::ptrdiff_t>(at), text.end(), found, mark,
                          std::regex_constants::match_continuous)) {
      const std::string severity = found[1] == "!" ? "error" : found[1] == "?" ? "warning" : "note";
      marked.findings.push_back(std::to_string(line) + ":" + std::to_string(column) + " " + severity + " " +
                                found[2].str());
      at += static_cast<size_t>(found.length());
      continue;
    }
    const char byte = text[at++];
    marked.list.push_back(byte);
    if (byte == '\n') {
      ++line;
      column = 1;
    } else if ((byte & 0xC0) != 0x80) {  // Counts characters: a continuation byte begins none.
      ++column;
    }
  }
  return marked;
}

// The tables' whole lists.
static std::vector<std::string> MarkedLists();

TEST(CheckList, FindsEachMistakeAtItsPlace) {
  for (const std::string& text : MarkedLists()) {
    const Marked marked = WithoutMarks(text);
    EXPECT_EQ(Described(Check(marked.list)), marked.findings) << text;
  }
}

// One item that is well but for what `members` add; the item begins in line 1.
static std::string ItemWith(const std::string& members) {
  return "{\"0\": {\"name\": \"a\", \"program\": \"/bin/sh\", " + members + "}}";
}

static std::string ListWithProgram(const std::string& program) {
  return "{\"0\": {\"name\": \"a\",\n  \"program\": " + program + "}}";
}

static std::vector<std::string> MarkedLists() {
  const std::string nul(1, '\0');
  return {
      // --- All is well
      "{\"0\": {\"name\": \"a\", \"program\": \"/bin/sh\"}}",
      " // A list.\n{ /* empty */ \"0\": {\"name\": \"\xC3\xA4 b\", \"program\": \"/bin/sh\"}} // The end.\n",
      "{\"$schema\": \"x\", \"comment\": [1, 2], \"0a\": 1, \"-\": 2, \"0\": {\"name\": \"a\", \"program\": "
      "\"/bin/sh\"}}",
      ItemWith("\"argc\": 2, \"args\": {\"0\": \"-c\", \"1\": \"\"}, \"run_once\": true"),
      ItemWith("\"argc\": 2.0, \"args\": {\"1\": \"x\", \"0\": \"y\"}, \"run_once\": false"),
      ItemWith("\"argc\": 0, \"args\": {}"),
      ItemWith("\"args\": {}"),
      ItemWith("\"args\": null"),

      // --- The file
      "<!empty-file>",
      "<!empty-file>" + nul + "{}",
      "<!byte-order-mark>\xEF\xBB\xBF{}",
      "<!byte-order-mark>\xFF\xFE{" + nul + "}" + nul,
      "<!byte-order-mark>\xFE\xFF" + nul + "{" + nul + "}",
      "{\"0\": {\"name\": \"a\"<!not-json>,}}",
      "{\n  \"0\": {\"name\": \"a\", \"program\": \"/bin/sh\"}<!not-json>,\n}",
      "{\"\xC3\xA4\": 1 <!not-json>\"0\": {}}",
      "{\"0\": {\"name\": <!not-json>\"a}}",
      "{\"0\": {}<!not-json>\n",
      "{\"0\"<!not-json>" + nul + ": {}}",
      "{\"0\": {\"name\": \"a<!not-json>\\x\"}}",
      "<!not-json>name: a",
      "{<!not-json>" + nul + "}" + nul,
      "{\"a\":" + std::string(999, '[') + "<!nested-too-deep>[",
      std::string(999, '[') + "\n[ <!nested-too-deep>1",
      "<!list-not-object>[{\"name\": \"a\", \"program\": \"/bin/sh\"}]",
      "<!list-not-object>\"{}\"",
      "<!list-not-object>// A list.\n5",
      "<?no-items>{}",
      "<?no-items>null",
      "<?no-items>{\"items\": {\"0\": {\"name\": \"a\", \"program\": \"/bin/sh\"}}}",
      "{\"0\": {\"name\": \"a\", \"program\": \"/bin/sh\"}} <?text-after-end>}",
      "{\"0\": {\"name\": \"a\", \"program\": \"/bin/sh\"}} // x\n<?text-after-end>{\"1\": {}}",
      "{\"0\": {\"name\": \"a\", \"program\": \"/bin/sh\"}}\n<?text-after-end>" + nul,
      "{\"0\": {\"name\": \"a\", \"program\": \"/bin/sh\"}} // x<?text-after-end>" + nul + "y\n",
      "{\"0\": {\"name\": \"a\", \"program\": \"/bin/sh\"}}<?text-after-end>/* open",

      // --- The text
      "{\"0\": {\"name\": <?not-utf8>\"caf\xE9\", \"program\": \"/bin/sh\"}}",
      "{\"\xC3\xA4\": {<?not-utf8>\"\xFF\": [<?not-utf8>\"\\udc00\"]}, \"0\": {\"name\": \"a\", \"program\": "
      "\"/bin/sh\"}}",
      "{<?member-twice>\"0\": {\"name\": \"b\"},\n \"0\": {\"name\": \"a\", \"program\": \"/bin/sh\"}}",
      "{\"0\": {<?member-twice>\"name\": \"b\", \"program\": \"/bin/sh\", <?member-twice>\"\\u006eame\": \"c\", "
      "\"name\": "
      "\"a\"}}",
      ItemWith("\"argc\": 1, \"args\": {<?member-twice>\"0\": {}, \"0\": \"x\"}"),
      "{\"x\": [{<?member-twice>\"y\": 1, \"y\": 2}], \"0\": {\"name\": \"a\", \"program\": \"/bin/sh\"}}",
      ItemWith("\"argc\": <.not-standard>01, \"args\": {\"0\": \"x\"}"),
      ItemWith("\"argc\": 1, \"args\": {\"0\": <.not-standard>\"x\ny\"}"),
      ItemWith("\"argc\": <.not-standard>-"),
      "{\"0\": {\"name\": \"a\", \"program\": \"/bin/sh\"}, \"\": 1<.not-standard>,}",

      // --- Items
      "{\"0\": {\"name\": \"a\", \"program\": \"/bin/sh\"},\n <!item-never-read>\"2\": {\"name\": \"b\"},\n "
      "<!item-never-read>\"3\": null}",
      "<?no-items>{<!item-never-read>\"1\": {\"name\": \"a\", \"program\": \"/bin/sh\"}}",
      "{\"0\": {\"name\": \"a\", \"program\": \"/bin/sh\"}, <!item-never-read>\"01\": {}, <!item-never-read>\"-1\": "
      "{}, "
      "<!item-never-read>\"+1\": {}, \"1.0\": {}, <!item-never-read>\" 1\": {}, "
      "<!item-never-read>\"99999999999999999999\": {}}",
      "{<!item-not-object>\"0\": [\"a\", \"/bin/sh\"]}",
      "{<!item-not-object>\"0\": \"/bin/sh\", \"1\": {\"name\": \"a\", \"program\": \"/bin/sh\"}}",
      "{<!item-not-object>\"0\": false}",
      "{<!item-nameless>\"0\": {\"program\": \"/bin/sh\"}}",
      "{<!item-nameless>\"0\": null}",
      "{<!item-nameless>\"0\": {}, <!item-nameless>\"1\": {<?member-unknown>\"Name\": \"a\"}}",
      "{\"0\": {\"name\": <!name-not-text>[\"a\"], \"program\": \"/bin/sh\"}}",
      "{\"0\": {\"name\": <!name-not-text>{}, \"program\": \"/bin/sh\"}}",
      "{\"0\": {\"name\": <?name-not-text>7, \"program\": \"/bin/sh\"}}",
      "{\"0\": {\"name\": <?name-not-text>true, \"program\": \"/bin/sh\"}}",
      "{\"0\": {\"name\": \"a\", \"program\": \"/bin/sh\"}, \"1\": {\"program\": \"/bin/sh\", \"name\": "
      "<!name-twice>\"a\"}, "
      "\"2\": {\"name\": <!name-twice>\"a\", \"program\": \"/bin/sh\"}}",
      "{\"0\": {\"name\": \"1.5\", \"program\": \"/bin/sh\"},\n\"1\": {\"name\": <?name-not-text><!name-twice>1.5, "
      "\"program\": \"/bin/sh\"}}",
      "{\"0\": {\"name\": <?name-odd>\"\", \"program\": \"/bin/sh\"}}",
      "{\"0\": {\"name\": <?name-odd>null, \"program\": \"/bin/sh\"}}",
      "{\"0\": {\"name\": <?name-odd>\"a\\u001b[2J\", \"program\": \"/bin/sh\"}}",
      "{\"0\": {\"name\": <?name-odd>\"a\\u0000b\", \"program\": \"/bin/sh\"}}",
      "{\"0\": {\"name\": <?name-odd>\"a\xE2\x80\xAE\", \"program\": \"/bin/sh\"}}",
      "{\"0\": {\"name\": <?name-odd>\"a\xC2\x9B\", \"program\": \"/bin/sh\"}}",

      // --- Programs
      "{<!program-missing>\"0\": {\"name\": \"a\"}}",
      ListWithProgram("<!program-missing>null"),
      ListWithProgram("<!program-missing>\"\""),
      ListWithProgram("<!program-missing>\"\\u0000/bin/sh\""),
      ListWithProgram("<!program-not-text>[\"/bin/sh\"]"),
      ListWithProgram("<!program-not-text>{}"),
      ListWithProgram("<!program-not-text>5"),
      ListWithProgram("<!program-not-text>true"),
      ListWithProgram("<!program-not-text>\"/bin/sh\\u0000x\""),
      ListWithProgram("<?program-relative>\"sh\""),
      ListWithProgram("<?program-relative>\"bin/sh\""),
      ListWithProgram("<?program-relative>\"~/bin/x\""),
      ListWithProgram("<?program-relative>\"$HOME/x\""),
      ListWithProgram("<!program-not-found>\"/nonexistent/x\""),
      ListWithProgram("<!program-not-found>\"/bin/sh/x\""),
      ListWithProgram("<!program-not-executable>\"/bin\""),
      ListWithProgram("<!program-not-executable>\"/dev/null\""),
      ListWithProgram("<!program-not-executable>\"/etc/passwd\""),

      // --- Arguments
      ItemWith("\"argc\": <!argc-not-number>\"1\", \"args\": {\"0\": \"x\"}"),
      ItemWith("\"argc\": <!argc-not-number>[1]"),
      ItemWith("\"argc\": <!argc-not-number>{}"),
      ItemWith("\"argc\": <?argc-not-number>null"),
      ItemWith("\"argc\": <?argc-not-number>true, \"args\": {\"0\": \"x\"}"),
      ItemWith("\"argc\": <?argc-not-number>false"),
      ItemWith("\"argc\": <?argc-not-number>1.5, \"args\": {\"0\": \"x\"}"),
      ItemWith("\"argc\": <?argc-not-number>1e-3"),
      ItemWith("\"argc\": <!argc-out-of-range>1e30"),
      ItemWith("\"argc\": <!argc-out-of-range>18446744073709551615"),
      ItemWith("\"argc\": <!argc-out-of-range>5000000000"),
      ItemWith("\"argc\": <!argc-out-of-range>4294967297, \"args\": {\"0\": \"x\"}"),
      ItemWith("\"argc\": <!argc-out-of-range>-4294967295"),
      ItemWith("\"argc\": <!argc-out-of-range>16384, \"args\": {}"),
      ItemWith("\"argc\": <!argc-out-of-range>2147483647"),
      ItemWith("\"argc\": <?argc-out-of-range>-1"),
      ItemWith("\"argc\": <?argc-out-of-range>-1, <?args-ignored>\"args\": {\"0\": \"x\"}"),
      ItemWith("\"argc\": 1, \"args\": <!args-not-object>[\"x\"]"),
      ItemWith("\"argc\": 1, \"args\": <!args-not-object>\"x\""),
      ItemWith("\"argc\": 1, \"args\": <!args-not-object>5"),
      ItemWith("\"argc\": 0, <?args-ignored>\"args\": [\"x\"]"),
      ItemWith("<?args-ignored>\"args\": {\"0\": \"x\"}"),
      ItemWith("<?args-ignored>\"args\": \"x\""),
      ItemWith("\"argc\": 1, \"args\": {\"0\": \"x\", <?args-ignored>\"1\": \"y\", \"2\": \"z\"}"),
      ItemWith("\"argc\": 1, \"args\": {<?args-ignored>\"00\": \"x\", \"0\": \"y\"}"),
      ItemWith("\"argc\": 1, \"args\": {<?args-ignored>\"first\": \"x\", \"0\": \"y\"}"),
      ItemWith("<?args-missing>\"argc\": 1"),
      ItemWith("\"argc\": 2, <?args-missing>\"args\": null"),
      ItemWith("\"argc\": 3, <?args-missing>\"args\": {\"0\": \"x\", \"2\": \"y\"}"),
      ItemWith("\"argc\": 1, <?args-missing>\"args\": {<?args-ignored>\"1\": \"x\"}"),
      ItemWith("\"argc\": 2, \"args\": {\"0\": <!arg-not-text>[], \"1\": <!arg-not-text>{}}"),
      ItemWith(
          "\"argc\": 3, \"args\": {\"0\": <?arg-not-text>5, \"1\": <?arg-not-text>null, \"2\": <?arg-not-text>true}"),
      ItemWith("\"argc\": 1, \"args\": {\"0\": <?arg-not-text>\"a\\u0000b\"}"),
      ItemWith("\"argc\": 1, \"args\": {\"0\": \"x\", <?args-ignored>\"1\": []}"),

      // --- The rest
      ItemWith("\"run_once\": <!run-once-not-boolean>\"true\""),
      ItemWith("\"run_once\": <!run-once-not-boolean>[]"),
      ItemWith("\"run_once\": <!run-once-not-boolean>{}"),
      ItemWith("\"run_once\": <?run-once-not-boolean>1"),
      ItemWith("\"run_once\": <?run-once-not-boolean>0.0"),
      ItemWith("\"run_once\": <?run-once-not-boolean>null"),
      ItemWith("<?member-unknown>\"runOnce\": true"),
      ItemWith("<?member-unknown>\"\\u001b\": true, <?member-unknown>\"$comment\": \"x\""),
      ItemWith("<?member-unknown>\"arg\": {\"0\": \"x\"}"),
  };
}

// Every code that a list can have; the settings' own are elsewhere.
TEST(CheckList, HasTwoListsForEveryCode) {
  std::map<std::string, int> lists;
  for (const std::string& text : MarkedLists()) {
    const Strings findings = WithoutMarks(text).findings;
    std::set<std::string> codes;
    for (const std::string& finding : findings) codes.insert(finding.substr(finding.rfind(' ') + 1));
    for (const std::string& code : codes) ++lists[code];
  }
  // Those of which the file system is a part have tests of their own below.
  for (const char* code : {"empty-file",
                           "byte-order-mark",
                           "not-json",
                           "not-utf8",
                           "text-after-end",
                           "member-twice",
                           "list-not-object",
                           "no-items",
                           "item-never-read",
                           "item-not-object",
                           "item-nameless",
                           "name-not-text",
                           "name-twice",
                           "name-odd",
                           "program-missing",
                           "program-not-text",
                           "program-relative",
                           "program-not-found",
                           "argc-not-number",
                           "argc-out-of-range",
                           "args-not-object",
                           "args-ignored",
                           "args-missing",
                           "arg-not-text",
                           "run-once-not-boolean",
                           "member-unknown",
                           "not-standard",
                           "nested-too-deep",
                           "program-not-executable"}) {
    EXPECT_GE(lists[code], 2) << code;
  }
}

// --- What a finding says

TEST(CheckList, NamesTheItemByNumberAndName) {
  const std::vector<Finding> findings = Check(
      "{\"0\": {\"name\": \"a\", \"program\": \"/bin/sh\"}, \"1\": {\"name\": \"b\\u001b\"}, \"01\": {\"name\": "
      "\"c\"}, "
      "\"2\": 5}");
  ASSERT_EQ(findings.size(), 4U);
  EXPECT_EQ(findings[0].item, 1);  // program-missing
  EXPECT_EQ(findings[0].name, "b\x1b");
  EXPECT_EQ(findings[0].file, "list.json");
  EXPECT_EQ(findings[2].item, std::nullopt);  // item-never-read
  EXPECT_EQ(findings[2].name, "c");
  EXPECT_EQ(findings[3].item, 2);
  EXPECT_EQ(findings[3].name, std::nullopt);
}

TEST(CheckList, GivesEveryFindingAMessageAConsequenceAndARemedy) {
  for (const std::string& text : MarkedLists()) {
    for (const Finding& finding : Check(WithoutMarks(text).list)) {
      for (const std::string& part : {finding.message, finding.consequence, finding.remedy}) {
        EXPECT_FALSE(part.empty()) << finding.code;
        EXPECT_LT(part.size(), 300U) << part;
        for (const char byte : part) EXPECT_TRUE(byte >= ' ' && byte != 0x7F) << finding.code << ": " << part;
      }
      EXPECT_TRUE(finding.message.back() == '.' || finding.message.back() == '?') << finding.message;
    }
  }
}

TEST(CheckList, SaysWhatWasMeant) {
  const struct {
    std::string list;
    std::string part;  // Of the message or the remedy.
  } rows[] = {
      {"{\"0\": {},}", "trailing comma"},
      {ItemWith("\"arg\": 1"), "\"args\" meant"},
      {ItemWith("\"runOnce\": 1"), "\"run_once\" meant"},
      {ItemWith("\"command\": 1"), "Remove it"},
      {ListWithProgram("\"~/x\""), "~"},
      {ListWithProgram("\"$HOME/x\""), "$"},
      {ListWithProgram("\"/$HOME/x\""), "$"},
      {ListWithProgram("\"python3\""), "PATH"},
      {ItemWith("\"args\": {\"0\": \"x\", \"1\": \"y\"}"), "\"argc\": 2"},
      {ItemWith("\"argc\": 1, \"args\": {\"0\": 1e3}"), "1000.0"},
      {"{\"0\": {\"name\": \"a\", \"program\": \"/bin/sh\"}, \"2\": {}}", "\"1\" is the next one"},
  };
  for (const auto& row : rows) {
    std::string all;
    for (const Finding& finding : Check(row.list)) {
      all += finding.message + "\n" + finding.consequence + "\n" + finding.remedy + "\n";
    }
    EXPECT_NE(all.find(row.part), std::string::npos) << row.list << "\n" << all;
  }
}

// --- Files of all kinds

class CheckListFile : public testing::Test {
 protected:
  std::string PathOf(const std::string& name) const { return temp.path() + "/" + name; }
  Strings CheckFile(const std::string& name) const { return Described(CheckList(ReadLaunchList(PathOf(name)))); }

  TempFolder temp;
};

TEST_F(CheckListFile, ThatIsMissingIsUnreadable) {
  EXPECT_EQ(CheckFile("missing.json"), Strings{"1:1 error unreadable"});
  EXPECT_EQ(CheckFile("missing/list.json"), Strings{"1:1 error unreadable"});
}

TEST_F(CheckListFile, WithoutPermissionIsUnreadable) {
  WriteFile(PathOf("list.json"), "{}");
  ASSERT_EQ(chmod(PathOf("list.json").c_str(), 0), 0);
  ASSERT_EQ(chmod(temp.path().c_str(), 0755), 0);
  constexpr uid_t kNobody = 65534;
  const bool is_superuser = geteuid() == 0;  // Who may read every file.
  ASSERT_EQ(is_superuser ? seteuid(kNobody) : 0, 0);
  const Strings findings = CheckFile("list.json");
  ASSERT_EQ(is_superuser ? seteuid(0) : 0, 0);
  EXPECT_EQ(findings, Strings{"1:1 error unreadable"});
}

TEST_F(CheckListFile, ThatIsNoneIsNotWaitedOn) {
  ASSERT_EQ(mkdir(PathOf("folder").c_str(), 0700), 0);
  ASSERT_EQ(mkfifo(PathOf("fifo").c_str(), 0600), 0);
  ASSERT_EQ(symlink("/dev/zero", PathOf("device").c_str()), 0);
  for (const char* name : {"folder", "fifo", "device"}) {
    EXPECT_EQ(CheckFile(name), Strings{"1:1 error not-a-file"}) << name;
  }
}

TEST_F(CheckListFile, BehindALinkIsFollowed) {
  WriteFile(PathOf("list.json"), "{\"0\": {\"name\": \"a\", \"program\": \"/bin/sh\"}}");
  ASSERT_EQ(chmod(PathOf("list.json").c_str(), 0600), 0);
  ASSERT_EQ(symlink("list.json", PathOf("link").c_str()), 0);
  EXPECT_EQ(CheckFile("link"), Strings{});
}

TEST_F(CheckListFile, ThatOthersMayWriteIsWritable) {
  const std::pair<mode_t, Strings> rows[] = {
      {0600, {}},
      {0644, {}},
      {0620, {"1:1 warning list-writable"}},
      {0602, {"1:1 warning list-writable"}},
      {0666, {"1:1 warning list-writable"}},
  };
  for (const auto& [mode, expected] : rows) {
    WriteFile(PathOf("list.json"), "{\"0\": {\"name\": \"a\", \"program\": \"/bin/sh\"}}");
    ASSERT_EQ(chmod(PathOf("list.json").c_str(), mode), 0);
    EXPECT_EQ(CheckFile("list.json"), expected) << std::oct << mode;
  }
}

TEST_F(CheckListFile, ThatIsSparseAndHugeIsNotReadIntoMemory) {
  WriteFile(PathOf("list.json"), "{}");
  ASSERT_EQ(chmod(PathOf("list.json").c_str(), 0600), 0);
  ASSERT_EQ(truncate(PathOf("list.json").c_str(), off_t{1} << 40), 0);
  EXPECT_EQ(CheckFile("list.json"), Strings{"1:1 error unreadable"});
}

TEST_F(CheckListFile, NamesAScriptsMissingInterpreter) {
  const std::pair<const char*, Strings> rows[] = {
      {"#!/bin/sh\n", {}},
      {"#!/nonexistent/sh\n", {"1:32 error interpreter-not-found"}},
      {"#!/bin/sh\r\n", {"1:32 error interpreter-not-found"}},
  };
  for (const auto& [script, expected] : rows) {
    WriteFile(PathOf("script"), script);
    ASSERT_EQ(chmod(PathOf("script").c_str(), 0755), 0);
    const std::string list = "{\"0\": {\"name\": \"a\", \"program\": \"" + PathOf("script") + "\"}}";
    EXPECT_EQ(Described(Check(list)), expected) << script;
  }
}

// --- The lists that this project shows

static std::string Examples(const std::string& name) { return ReadFile(std::string(EXAMPLES) + "/" + name); }

TEST(CheckList, FindsNothingInTheExamples) {
  size_t lists = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(EXAMPLES)) {
    const std::string name = entry.path().filename().string();
    if (entry.path().extension() != ".json" || name == "launch-list.schema.json" || name == "failed-start.json")
      continue;
    // The list of a machine whose night went wrong: its programs are not here.
    if (entry.path().parent_path().filename() == "night") continue;
    EXPECT_EQ(Described(Check(ReadFile(entry.path().string()))), Strings{}) << name;
    ++lists;
  }
  EXPECT_GE(lists, 3U);
}

TEST(CheckList, FindsInTheExampleOfAFailedStartWhatFails) {
  EXPECT_EQ(Described(Check(Examples("failed-start.json"))), Strings{"5:16 error program-not-found"});
}

// The displays of the manual that begin with a brace, as readers see them.
static Strings ListsOfTheManual() {
  Strings lists;
  std::string list;
  bool is_display = false;
  for (std::string line : ReadLines(std::string(MANUAL) + "/launch-list.5")) {
    if (line.rfind(".Bd", 0) == 0) {
      is_display = true;
      list.clear();
    } else if (line.rfind(".Ed", 0) == 0) {
      is_display = false;
      if (list.front() == '{') lists.push_back(list);
    } else if (is_display) {
      list += std::regex_replace(line, std::regex(R"(\\e)"), "\\") + "\n";
    }
  }
  return lists;
}

TEST(CheckList, FindsNothingInTheListsOfTheManual) {
  const Strings lists = ListsOfTheManual();
  EXPECT_GE(lists.size(), 2U);
  for (const std::string& list : lists) {
    for (const Finding& finding : Check(list)) {
      // The programs are an application's that nobody has.
      EXPECT_EQ(finding.code, "program-not-found") << list;
      EXPECT_NE(finding.message.find("/opt/app/"), std::string::npos) << finding.message;
    }
  }
}
