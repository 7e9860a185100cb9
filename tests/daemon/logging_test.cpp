// What the launcher says to the logging library, to the system log and, through the real library, to its log file.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <syslog.h>
#include <unistd.h>

#include <filesystem>
#include <regex>
#include <string>

#include "common/settings/paths.h"
#include "tests/support/bundle.h"
#include "tests/support/items.h"
#include "tests/support/launcher_process.h"
#include "tests/support/recording.h"
#include "tests/support/test_process.h"
#include "tests/support/wait_until.h"

TEST(SystemLog, GetsOneLineForNoneOrOneArgument) {
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{}, std::vector<std::string>{"agent"}}) {
    const Bundle bundle(Bundle::Logger::kRecording);
    LauncherProcess launcher(bundle, arguments);
    EXPECT_EQ(launcher.ExitStatus(), 0);
    const auto calls = ReadRecording(bundle.recording());
    ASSERT_EQ(calls.size(), 1U) << arguments.size();
    EXPECT_EQ(calls[0].function, "syslog");
    EXPECT_EQ(calls[0].priority, LOG_ERR);
    EXPECT_EQ(calls[0].format, "Pellux Launcher : wrong parameters.");
    EXPECT_FALSE(calls[0].any_standard_stream_open);  // They go before the arguments are looked at.
  }
}

TEST(SystemLog, GetsOneLineWhenTheLoggerDoesNotStartAndSupervisionGoesOn) {
  const Bundle bundle(Bundle::Logger::kRecording);
  const std::string report = bundle.PathOf("report");
  const std::string list = bundle.WriteList(ListOf({Item("a", REPORT_PROGRAM, {report})}));
  LauncherProcess::Options options;
  options.environment["RECORDING_FAILS"] = "1";
  LauncherProcess launcher(bundle, {"agent", list}, options);
  ASSERT_TRUE(WaitUntil([&] { return std::filesystem::exists(report); }));
  EXPECT_EQ(launcher.Stop(), 1);
  const auto calls = ReadRecording(bundle.recording());
  ASSERT_EQ(calls.size(), 2U);
  EXPECT_EQ(calls[0].function, "InitLogger");
  EXPECT_EQ(calls[1].function, "syslog");
  EXPECT_EQ(calls[1].priority, LOG_ERR);
  EXPECT_EQ(calls[1].format, "Pellux Launcher for agent : Failed to initialize logger");
}

TEST(SystemLog, GetsALaunchersNameAsPartOfItsFormat) {
  const Bundle bundle(Bundle::Logger::kRecording);
  LauncherProcess::Options options;
  options.environment["RECORDING_FAILS"] = "1";
  LauncherProcess launcher(bundle, {"age%dnt", bundle.WriteList("{}")}, options);
  ASSERT_TRUE(WaitUntil([&] { return ReadRecording(bundle.recording()).size() == 2; }));
  EXPECT_EQ(ReadRecording(bundle.recording())[1].format, "Pellux Launcher for age%dnt : Failed to initialize logger");
}

TEST(LoggerStart, AsksTheLibraryForTheModuleAtTheSettingsPlaceAndLevel) {
  const struct {
    const char* level;  // Null: no settings file.
    LOGLEVEL expected;
  } rows[] = {{nullptr, LOGLEVEL_ERROR},
              {"DEBUG", LOGLEVEL_DEBUG},
              {"debug", LOGLEVEL_ERROR},
              {"VERBOSE", LOGLEVEL_VERBOSE},
              {"CRITICAL", LOGLEVEL_CRITICAL}};
  for (const auto& row : rows) {
    const Bundle bundle(Bundle::Logger::kRecording);
    if (row.level != nullptr) bundle.SetLogLevel(row.level);
    LauncherProcess launcher(bundle, bundle.WriteList("{}"));
    ASSERT_TRUE(WaitUntil([&] { return ReadRecording(bundle.recording()).size() == 2; }));
    const auto calls = ReadRecording(bundle.recording());
    EXPECT_EQ(calls[0].function, "InitLogger");
    EXPECT_EQ(calls[0].location, bundle.log_folder() + "/qz3log");
    EXPECT_EQ(calls[1].function, "GetLogger");
    EXPECT_EQ(calls[1].reserved, 2);
    EXPECT_EQ(calls[1].module, "launcher");
    EXPECT_EQ(calls[1].level, row.expected);
  }
}

TEST(LogCalls, QuoteNamesAsArgumentsNeverAsFormat) {
  const Bundle bundle(Bundle::Logger::kRecording);
  const std::string name = "50%s%n%d";
  LauncherProcess launcher(bundle,
                           bundle.WriteList(ListOf({RunOnce(ShellItem(name, "exit 0")), Item(name + "2", "")})));
  const std::string start = "[LAUNCHER  ] Start to fork " + name;
  ASSERT_TRUE(WaitUntil([&] { return !LoggedWith(bundle.recording(), name + " ").empty(); }));
  ASSERT_TRUE(WaitUntil([&] { return !LoggedWith(bundle.recording(), "program path of " + name).empty(); }));
  for (const RecordedCall& call : LoggedWith(bundle.recording(), "")) {
    EXPECT_EQ(call.format.find("50"), std::string::npos) << call.format;
  }
  EXPECT_EQ(LoggedWith(bundle.recording(), start)[0].format, "[LAUNCHER  ] Start to fork %s");
}

// The last fields of a record, with its level: what the launcher has a say in.
static std::vector<std::string> RealRecords(const Bundle& bundle) {
  const std::regex form(
      R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}[+-]\d\d:\d\d ([A-Z]+) +launcher +\d+ +\d+ (\[LAUNCHER  \] .*))");
  std::vector<std::string> records;
  for (const std::string& line : ReadLines(bundle.log_file())) {
    std::smatch match;
    if (std::regex_match(line, match, form)) {
      records.push_back(match[1].str() + " " + match[2].str());
    } else {
      ADD_FAILURE() << "not a record: " << line;
    }
  }
  return records;
}

TEST(LogFile, ShowsEndsAtTheDefaultLevelAndStartsToo) {
  for (const bool with_starts : {false, true}) {
    const Bundle bundle;
    if (with_starts) bundle.SetLogLevel("DEBUG");
    LauncherProcess launcher(bundle, bundle.WriteList(ListOf({RunOnce(ShellItem("once", "exit 3"))})));
    const size_t expected = with_starts ? 2 : 1;
    ASSERT_TRUE(WaitUntil([&] { return ReadLines(bundle.log_file()).size() == expected; }));
    const auto records = RealRecords(bundle);
    ASSERT_EQ(records.size(), expected);
    if (with_starts) {
      EXPECT_EQ(records.front(), "DEBUG [LAUNCHER  ] Start to fork once");
    }
    const std::regex end(R"(ERROR \[LAUNCHER  \] once (\d+) is killed\. ret = \1, status = 768)");
    EXPECT_TRUE(std::regex_match(records.back(), end)) << records.back();
  }
}

// Supervisors that are left at exit are destroyed after everything else, and their threads still log.
TEST(LogFile, ShowsTheEndsOfChildrenThatAreKilledWhileTheProcessExits) {
  const Bundle bundle;
  LauncherProcess launcher(bundle, bundle.WriteList(ListOf({SleepingItem("early"), JsonObject("7")})));
  EXPECT_EQ(launcher.ExitStatus(), 0);
  const auto records = RealRecords(bundle);
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[0], "ERROR [LAUNCHER  ] Error while parsing saved json string.");
  EXPECT_TRUE(std::regex_match(records[1], std::regex(R"(ERROR \[LAUNCHER  \] early .* status = 9)"))) << records[1];
}

TEST(LogFile, NeverSitsOnAStandardStreamsDescriptor) {
  if (!std::filesystem::exists("/proc/self/fd")) GTEST_SKIP() << "nothing here shows another process's descriptors";
  const Bundle bundle;
  LauncherProcess launcher(bundle, bundle.WriteList("{}"));
  ASSERT_TRUE(WaitUntil([&] { return std::filesystem::exists(bundle.log_file()); }));
  // From then on it opens and closes nothing.
  ASSERT_TRUE(WaitUntil([&] { return MainThreadKeepsWaiting(launcher.pid()); }));
  int found = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/" + std::to_string(launcher.pid()) + "/fd")) {
    if (std::filesystem::read_symlink(entry.path()) != bundle.log_file()) continue;
    EXPECT_GT(std::stoi(entry.path().filename().string()), 2);
    ++found;
  }
  EXPECT_EQ(found, 1);
}

TEST(LogFile, KeepsARecordOnOneLineWhateverItsNameHolds) {
  const Bundle bundle;
  const std::string name = "a\n2026-01-01T00:00:00.000+00:00 ERROR launcher 1 1 [LAUNCHER  ] forged\r\x1b[31m";
  LauncherProcess launcher(bundle, bundle.WriteList(ListOf({RunOnce(ShellItem(name, "exit 0"))})));
  ASSERT_TRUE(WaitUntil([&] { return !ReadLines(bundle.log_file()).empty(); }));
  const auto records = RealRecords(bundle);
  ASSERT_EQ(records.size(), 1U);
  EXPECT_NE(records[0].find("a\\n2026"), std::string::npos) << records[0];
}

// The one folder that tests share, so one test at a time, whoever runs it.
TEST(LogFile, IsWrittenByAnUnnamedProductToo) {
  const int turn = open(std::filesystem::temp_directory_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_EQ(flock(turn, LOCK_EX), 0);
  const Bundle bundle;
  std::filesystem::remove(bundle.sdk_file());
  const std::string list = bundle.WriteList("{}");
  const std::string folder = GetHomePath() + "/Library/Logs/qz3log";
  const bool was_there = std::filesystem::exists(folder);
  {
    LauncherProcess launcher(bundle, list);
    EXPECT_TRUE(WaitUntil([&] { return std::filesystem::exists(folder + "/launcher.log"); }));
    EXPECT_EQ(launcher.Stop(), 1);
  }
  if (!was_there) std::filesystem::remove_all(folder);
  (void)close(turn);
}
