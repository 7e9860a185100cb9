// What the manual pages tell about odd situations and the other tests here don't show: failed starts whose launcher is
// gone, values of other types, folders in the place of files.

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <regex>
#include <string>

#include "tests/support/bundle.h"
#include "tests/support/files.h"
#include "tests/support/items.h"
#include "tests/support/launcher_process.h"
#include "tests/support/recording.h"
#include "tests/support/wait_until.h"

static constexpr const char* kParseFailure = "[LAUNCHER  ] Error while parsing saved json string.";

static size_t CountLogged(const Bundle& bundle, const std::string& part) {
  return LoggedWith(bundle.recording(), part).size();
}

// --- Failed starts

TEST(Chain, EndsFromItsLastToItsFirstAndLogsItsEnds) {
  const Bundle bundle(Bundle::Logger::kRecording);
  LauncherProcess launcher(bundle, bundle.WriteList(ListOf({Item("missing", "/nonexistent/program")})));
  ASSERT_TRUE(WaitUntil([&] { return CountLogged(bundle, "Start to fork missing") == 3; }));
  const auto starts = LoggedWith(bundle.recording(), "Start to fork missing");
  EXPECT_EQ(launcher.Stop(), 1);
  EXPECT_FALSE(launcher.NobodyLeft());
  EXPECT_TRUE(WaitUntil([&] { return launcher.NobodyLeft(); }));
  // The launcher has logged the end of the first; the second of the chain, that of the last.
  const auto ends = LoggedWith(bundle.recording(), "is killed");
  ASSERT_EQ(ends.size(), 2U);
  EXPECT_EQ(ends[0].process, launcher.pid());
  EXPECT_EQ(ends[1].process, starts[2].process);
}

TEST(Chain, LeavesAProgramThatOneOfItHasStartedRunningAtTheStop) {
  const Bundle bundle(Bundle::Logger::kRecording);
  const std::string program = bundle.PathOf("late");
  const std::string flag = bundle.PathOf("flag");
  LauncherProcess launcher(bundle, bundle.WriteList(ListOf({Item("late", program)})));
  ASSERT_TRUE(WaitUntil([&] { return CountLogged(bundle, "Start to fork late") == 1; }));
  WriteFile(program + ".unfinished", "#!/bin/sh\n: > " + flag + "\nexec /bin/sleep 100000\n");
  std::filesystem::permissions(program + ".unfinished", std::filesystem::perms::owner_all);
  std::this_thread::sleep_for(std::chrono::milliseconds(300));  // The launcher's own attempt is to fail.
  std::filesystem::rename(program + ".unfinished", program);
  ASSERT_TRUE(WaitUntil([&] { return std::filesystem::exists(flag); }));
  EXPECT_EQ(launcher.Stop(), 1);
  std::this_thread::sleep_for(std::chrono::seconds(1));
  EXPECT_FALSE(launcher.NobodyLeft());
}

// --- The stop

TEST(Stop, LetsTheItemsThatWaitForTheirTurnGoOn) {
  const Bundle bundle(Bundle::Logger::kRecording);
  std::vector<JsonObject> items;
  for (int i = 0; i < 4; ++i) items.push_back(ShellItem("item" + std::to_string(i), "exit 1"));
  LauncherProcess launcher(bundle, bundle.WriteList(ListWithEndMark(items)));
  ASSERT_TRUE(WaitUntil([&] { return CountLogged(bundle, "is killed") == 8; }));
  launcher.WaitUntilItWaits();
  const size_t starts_before = CountLogged(bundle, "Start to fork");
  EXPECT_EQ(launcher.Stop(), 1);
  EXPECT_GT(CountLogged(bundle, "Start to fork"), starts_before);
}

// --- What the launcher inherits

TEST(IgnoredSigchld, MakesTheWaitFailAndTheLineSaysSo) {
  const Bundle bundle(Bundle::Logger::kRecording);
  LauncherProcess::Options options;
  options.before_exec = [] { (void)signal(SIGCHLD, SIG_IGN); };
  LauncherProcess launcher(bundle, {"agent", bundle.WriteList(ListOf({ShellItem("a", "exit 3")}))}, options);
  ASSERT_TRUE(WaitUntil([&] { return CountLogged(bundle, "is killed") == 1; }));
  const std::string line = LoggedWith(bundle.recording(), "is killed")[0].second;
  EXPECT_TRUE(std::regex_match(line, std::regex(R"(\[LAUNCHER  \] a \d+ is killed\. ret = -1, status = 0)"))) << line;
}

// --- Folders in the place of files

TEST(Folder, InThePlaceOfASettingsFileIsReadForEver) {
  for (const bool sdk_file : {true, false}) {
    const Bundle bundle(Bundle::Logger::kRecording);
    bundle.SetLogLevel("DEBUG");
    const std::string file = sdk_file ? bundle.sdk_file() : bundle.settings_folder() + "/log.ini";
    std::filesystem::remove(file);
    std::filesystem::create_directory(file);
    LauncherProcess launcher(bundle, bundle.WriteList("{}"));
    std::this_thread::sleep_for(std::chrono::seconds(1));
    EXPECT_TRUE(launcher.IsRunning()) << file;
    EXPECT_TRUE(ReadRecording(bundle.recording()).empty()) << file;
  }
}

TEST(Folder, MakesTheLauncherDeafToSigterm) {
  const Bundle bundle(Bundle::Logger::kRecording);
  LauncherProcess launcher(bundle, bundle.PathOf(""));
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  launcher.Signal(SIGTERM);
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  EXPECT_TRUE(launcher.IsRunning());
  launcher.Signal(SIGINT);
  EXPECT_EQ(launcher.WaitStatus(), SIGINT);
}

// --- The launch list

TEST(LaunchList, HoldsCommentsAndIsFollowedByAnything) {
  const Bundle bundle(Bundle::Logger::kRecording);
  const std::string list = R"(// A list.
      { /* Twice: the later one counts. */
        "0": {"name": "first", "program": "/bin/sh"},
        "0": {"name": "second", "program": "/bin/sh"} } and so on)";
  LauncherProcess launcher(bundle, bundle.WriteList(list));
  ASSERT_TRUE(WaitUntil([&] { return CountLogged(bundle, "Start to fork second") == 1; }));
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
    EXPECT_EQ(LoggedWith(bundle.recording(), "Start to fork")[0].second, start) << name;
  }
}

TEST(OtherTypes, OfArgcCountWhatTheyCanBeReadAs) {
  // What exits with 5 has got two arguments; without any, the shell ends at once.
  const std::pair<const char*, int> rows[] = {{"2.9", 5 << 8}, {"null", 0}, {"false", 0}};
  for (const auto& [argc, status] : rows) {
    const Bundle bundle(Bundle::Logger::kRecording);
    LauncherProcess launcher(bundle, bundle.WriteList(std::string(R"({"0": {"name": "a", "program": "/bin/sh",
        "run_once": true, "args": {"0": "-c", "1": "exit 5"}, "argc": )") +
                                                      argc + "}}"));
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
    LauncherProcess launcher(
        bundle, bundle.WriteList(std::string(R"({"0": {"name": "a", "program": "/bin/sh", )") + members + "}}"));
    ASSERT_TRUE(WaitUntil([&] { return CountLogged(bundle, "is killed") == 1; })) << members;
    // On SIGABRT, with a core dump or without.
    EXPECT_TRUE(CountLogged(bundle, "status = 6") + CountLogged(bundle, "status = 134") == 1) << members;
    EXPECT_TRUE(launcher.IsRunning()) << members;
  }
}

TEST(OtherTypes, OfArgsDoNotMatterWithoutArgumentsToPass) {
  const Bundle bundle(Bundle::Logger::kRecording);
  LauncherProcess launcher(
      bundle, bundle.WriteList(R"({"0": {"name": "a", "program": "/bin/sh", "run_once": true, "args": ["x"]}})"));
  ASSERT_TRUE(WaitUntil([&] { return CountLogged(bundle, "is killed") == 1; }));
  EXPECT_EQ(CountLogged(bundle, "status = 0"), 1U);
}

TEST(OtherTypes, OfRunOnceCountAsTheirTruth) {
  const std::pair<const char*, bool> rows[] = {{"1", true}, {"0.5", true}, {"0", false}, {"null", false}};
  for (const auto& [value, once] : rows) {
    const Bundle bundle(Bundle::Logger::kRecording);
    LauncherProcess launcher(
        bundle, bundle.WriteList(std::string(R"({"0": {"name": "a", "program": "/bin/sh", "run_once": )") + value +
                                 R"(}, "1": {"name": "clock", "program": "/bin/sh"}})"));
    // By the other's third start, at 3 seconds, a second one of this is long due.
    ASSERT_TRUE(WaitUntil([&] { return CountLogged(bundle, "Start to fork clock") == 3; })) << value;
    EXPECT_EQ(CountLogged(bundle, "Start to fork a") == 1, once) << value;
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
