// What the launcher makes of a launch list that is not what launch-list(5) asks for: JSON's edges, and values of other
// types.

#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "tests/support/bundle.h"
#include "tests/support/files.h"
#include "tests/support/items.h"
#include "tests/support/launcher_process.h"
#include "tests/support/recording.h"
#include "tests/support/wait_until.h"

static constexpr const char* kParseFailure = "[LAUNCHER  ] Error while parsing saved json string.";

// A list of one item, with members as they are to stand in the file.
static std::string ListOfAShellWith(const std::string& members) {
  return R"({"0": {"name": "a", "program": "/bin/sh", )" + members + "}}";
}

TEST(LaunchList, HoldsCommentsAndIsFollowedByAnything) {
  const Bundle bundle(Bundle::Logger::kRecording);
  const std::string list = R"(// A list.
      { /* Twice: the later one counts. */
        "0": {"name": "first", "program": "/bin/sh"},
        "0": {"name": "second", "program": "/bin/sh"} } and so on)";
  LauncherProcess launcher(bundle, bundle.WriteList(list));
  ASSERT_TRUE(WaitUntil([&] { return CountLogged(bundle, "Start to fork second") >= 1; }));
  EXPECT_EQ(CountLogged(bundle, "Start to fork first"), 0U);
}

TEST(LaunchList, IsNotReadWithAByteOrderMarkOrACommaTooMany) {
  for (const char* text : {"\xEF\xBB\xBF{}", R"({"0": {"name": "a",}})"}) {
    const Bundle bundle(Bundle::Logger::kRecording);
    LauncherProcess launcher(bundle, bundle.WriteList(text));
    EXPECT_EQ(launcher.ExitStatus(), 0) << text;
    EXPECT_EQ(CountLogged(bundle, kParseFailure), 1U) << text;
  }
}

TEST(OtherTypes, OfANameBecomeText) {
  const std::pair<const char*, const char*> rows[] = {{"7", "7"},     {"true", "true"},  {"false", "false"},
                                                      {"1.5", "1.5"}, {"1e3", "1000.0"}, {"null", ""}};
  for (const auto& [name, expected] : rows) {
    const Bundle bundle(Bundle::Logger::kRecording);
    LauncherProcess launcher(bundle,
                             bundle.WriteList(std::string(R"({"0": {"program": "/bin/sh", "name": )") + name + "}}"));
    const std::string start = std::string("[LAUNCHER  ] Start to fork ") + expected;
    ASSERT_TRUE(WaitUntil([&] { return CountLogged(bundle, "Start to fork") > 0; })) << name;
    EXPECT_EQ(LoggedWith(bundle.recording(), "Start to fork")[0].text, start) << name;
  }
}

TEST(OtherTypes, OfArgcCountWhatTheyCanBeReadAs) {
  // What exits with 5 has got two arguments; without any, the shell ends at once.
  const std::pair<const char*, int> rows[] = {{"2.9", 5 << 8}, {"null", 0}, {"false", 0}};
  for (const auto& [argc, status] : rows) {
    const Bundle bundle(Bundle::Logger::kRecording);
    const std::string members = std::string(R"("run_once": true, "args": {"0": "-c", "1": "exit 5"}, "argc": )") + argc;
    LauncherProcess launcher(bundle, bundle.WriteList(ListOfAShellWith(members)));
    const std::string end = "status = " + std::to_string(status);
    ASSERT_TRUE(WaitUntil([&] { return CountLogged(bundle, "is killed") == 1; })) << argc;
    EXPECT_EQ(CountLogged(bundle, end), 1U) << argc;
  }
}

TEST(OtherTypes, OfArgcAndArgsThatCannotBeReadEndTheChildAlone) {
  for (const char* members :
       {R"("argc": "2")", R"("argc": [])", R"("argc": {})", R"("argc": 1e30)", R"("argc": 1, "args": "x")",
        R"("argc": 1, "args": 7)", R"("argc": 1, "args": {"0": {}})", R"("argc": 1, "args": {"0": []})"}) {
    const Bundle bundle(Bundle::Logger::kRecording);
    LauncherProcess launcher(bundle, bundle.WriteList(ListOfAShellWith(members)));
    ASSERT_TRUE(WaitUntil([&] { return CountLogged(bundle, "is killed") >= 1; })) << members;
    // On SIGABRT, with a core dump or without.
    EXPECT_GE(CountLogged(bundle, "status = 6") + CountLogged(bundle, "status = 134"), 1U) << members;
    EXPECT_TRUE(launcher.IsRunning()) << members;
  }
}

TEST(OtherTypes, OfArgsDoNotMatterWithoutArgumentsToPass) {
  const Bundle bundle(Bundle::Logger::kRecording);
  LauncherProcess launcher(bundle, bundle.WriteList(ListOfAShellWith(R"("run_once": true, "args": ["x"])")));
  ASSERT_TRUE(WaitUntil([&] { return CountLogged(bundle, "is killed") == 1; }));
  EXPECT_EQ(CountLogged(bundle, "status = 0"), 1U);
}

TEST(OtherTypes, OfRunOnceCountAsTheirTruth) {
  const std::pair<const char*, bool> rows[] = {{"1", true}, {"0.5", true}, {"0", false}, {"null", false}};
  for (const auto& [value, once] : rows) {
    const Bundle bundle(Bundle::Logger::kRecording);
    JsonObject item = Item("a", "/bin/sh");
    item.Insert("run_once", JsonObject(value));
    LauncherProcess launcher(bundle, bundle.WriteList(ListOf({item, Item("clock", "/bin/sh")})));
    if (once) {
      // By the other's third start, at 3 seconds, a second one of this is long due.
      ASSERT_TRUE(WaitUntil([&] { return CountLogged(bundle, "Start to fork clock") >= 3; })) << value;
      EXPECT_EQ(CountLogged(bundle, "Start to fork a"), 1U) << value;
    } else {
      EXPECT_TRUE(WaitUntil([&] { return CountLogged(bundle, "Start to fork a") > 1; })) << value;
    }
  }
}

TEST(OtherTypes, OfProgramAndRunOnceThatCannotBeReadEndTheLauncherAndLeaveThePrograms) {
  for (const char* members :
       {R"("program": {})", R"("program": ["/bin/sh"])", R"("program": "/bin/sh", "run_once": "true")",
        R"("program": "/bin/sh", "run_once": [])"}) {
    const Bundle bundle(Bundle::Logger::kRecording);
    const std::string list = std::string(R"({"0": {"name": "other", "program": "/bin/sleep", "argc": 1,
        "args": {"0": "100000"}}, "1": {"name": "a", )") +
                             members + "}}";
    LauncherProcess launcher(bundle, bundle.WriteList(list));
    const std::optional<int> status = launcher.WaitStatus();
    ASSERT_TRUE(status) << members;
    EXPECT_EQ(*status & 0x7F, SIGABRT) << members;
    EXPECT_FALSE(launcher.NobodyLeft()) << members;
    EXPECT_EQ(CountLogged(bundle, kParseFailure), 0U) << members;
  }
}
