#include "common/settings/log_settings.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>

#include "tests/support/file_tree.h"
#include "tests/support/probe.h"

// A bundle and a home in a folder of their own.
class Installation {
 public:
  Installation() {
    (void)PlaceProbe(SETTINGS_PROBE, folder.PathOf("A.app/Contents/MacOS/A"));
    (void)PlaceProbe(SETTINGS_PROBE, folder.PathOf(kExtension));
  }

  void WriteSdkSettings(const std::string& content) const {
    folder.WriteFile("A.app/Contents/Resources/qz3api.ini", content);
  }
  void WriteLogSettings(const std::string& sdk_name, const std::string& content) const {
    folder.WriteFile("home/Library/Application Support/" + sdk_name + "/log.ini", content);
  }
  std::string Home() const { return folder.PathOf("home"); }
  std::string MakeContainer() const {
    return folder.MakeFolder("home/Library/Containers/com.pellux.app.FinderSync/Data");
  }

  std::map<std::string, std::string> AnswersInMain() const {
    return RunProbe(folder.PathOf("A.app/Contents/MacOS/A"), {{"PROBE_LOGIN", "u"}, {"PROBE_HOME", Home()}});
  }
  std::map<std::string, std::string> AnswersInExtension(const std::string& home) const {
    return RunProbe(folder.PathOf(kExtension), {{"PROBE_LOGIN", "u"}, {"PROBE_HOME", home}});
  }
  std::map<std::string, std::string> AnswersWithoutAHome() const {
    return RunProbe(folder.PathOf("A.app/Contents/MacOS/A"), {});
  }

 private:
  static constexpr const char* kExtension = "A.app/Contents/PlugIns/E.appex/Contents/MacOS/FinderSync";
  FileTree folder;
};

TEST(GetSDKName, ReadsTheBundlesSettings) {
  const std::string longest(1023, 'n');
  const struct {
    std::string content;
    std::string expected;
  } rows[] = {
      {"[SDK]\nNAME=S\n", "S"},
      {"[sdk]\r\nname=My Product\r\n", "My Product"},
      {"[SDK]\nNAME=" + longest + "\n", longest},
      {"[SDK]\nNAME=" + longest + "n\n", ""},
      {"[SDK]\nNAME=\n", ""},
      {"[SDK]\nNAME==S\n", ""},
      {"[SDK]\nNAME = S\n", ""},
      {"[SDK]\nOTHER=S\n", ""},
      {"[LOG]\nNAME=S\n", ""},
      {"", ""},
  };
  for (const auto& row : rows) {
    const Installation installation;
    installation.WriteSdkSettings(row.content);
    EXPECT_EQ(installation.AnswersInMain().at("GetSDKName"), row.expected) << "content: " << row.content;
    EXPECT_EQ(installation.AnswersInExtension(installation.Home()).at("GetSDKName"), row.expected)
        << "content: " << row.content;
  }
}

TEST(GetSDKName, IsEmptyWithoutAFile) { EXPECT_EQ(Installation().AnswersInMain().at("GetSDKName"), ""); }

TEST(GetLogPath, LiesInTheUsersLogFolder) {
  const Installation installation;
  installation.WriteSdkSettings("[SDK]\nNAME=S\n");
  EXPECT_EQ(installation.AnswersInMain().at("GetLogPath"), installation.Home() + "/Library/Logs/S/qz3log");
}

TEST(GetLogPath, KeepsBothSlashesAroundAnEmptySdkName) {
  const Installation installation;
  EXPECT_EQ(installation.AnswersInMain().at("GetLogPath"), installation.Home() + "/Library/Logs//qz3log");
}

TEST(GetLogPath, BeginsAtTheRootFolderWithoutAHome) {
  const Installation installation;
  installation.WriteSdkSettings("[SDK]\nNAME=S\n");
  EXPECT_EQ(installation.AnswersWithoutAHome().at("GetLogPath"), "/Library/Logs/S/qz3log");
}

TEST(GetLogPath, CreatesNothing) {
  const Installation installation;
  installation.WriteSdkSettings("[SDK]\nNAME=S\n");
  (void)installation.AnswersInMain();
  EXPECT_FALSE(std::filesystem::exists(installation.Home()));
}

TEST(GetLogLevel, ReadsTheUsersSettings) {
  const struct {
    std::string content;
    LOGLEVEL expected;
  } rows[] = {
      {"[LOG]\nLEVEL=DEBUG\n", LOGLEVEL_DEBUG},
      {"[LOG]\nLEVEL=MESSAGE\n", LOGLEVEL_MESSAGE},
      {"[LOG]\nLEVEL=WARNING\n", LOGLEVEL_WARNING},
      {"[LOG]\nLEVEL=ERROR\n", LOGLEVEL_ERROR},
      {"[LOG]\nLEVEL=CRITICAL\n", LOGLEVEL_CRITICAL},
      {"[LOG]\nLEVEL=VERBOSE\n", LOGLEVEL_VERBOSE},
      {"[log]\r\nlevel=WARNING\r\n", LOGLEVEL_WARNING},
      {"[LOG]\nLEVEL=debug\n", LOGLEVEL_ERROR},
      {"[LOG]\nLEVEL = DEBUG\n", LOGLEVEL_ERROR},
      {"[LOG]\nLEVEL= DEBUG\n", LOGLEVEL_ERROR},
      {"[LOG]\nLEVEL=\"DEBUG\"\n", LOGLEVEL_ERROR},
      {"[LOG]\nLEVEL=1\n", LOGLEVEL_ERROR},
      {"[LOG]\nLEVEL=\n", LOGLEVEL_ERROR},
      {"[LOG]\nLEVEL==DEBUG\n", LOGLEVEL_ERROR},
      {"[LOG]\nLEVEL=DEBUG" + std::string(1100, 'x') + "\n", LOGLEVEL_ERROR},
      {"[LOG]\nOTHER=DEBUG\n", LOGLEVEL_ERROR},
      {"[SDK]\nLEVEL=DEBUG\n", LOGLEVEL_ERROR},
      {"", LOGLEVEL_ERROR},
  };
  const Installation installation;
  installation.WriteSdkSettings("[SDK]\nNAME=S\n");
  for (const auto& row : rows) {
    installation.WriteLogSettings("S", row.content);
    EXPECT_EQ(installation.AnswersInMain().at("GetLogLevel"), std::to_string(row.expected))
        << "content: " << row.content;
  }
}

TEST(GetLogLevel, IsErrorWithoutAFile) {
  const Installation installation;
  installation.WriteSdkSettings("[SDK]\nNAME=S\n");
  EXPECT_EQ(installation.AnswersInMain().at("GetLogLevel"), std::to_string(LOGLEVEL_ERROR));
}

TEST(GetLogLevel, BelongsToTheSdkName) {
  const Installation installation;
  installation.WriteLogSettings("", "[LOG]\nLEVEL=DEBUG\n");
  installation.WriteLogSettings("S", "[LOG]\nLEVEL=WARNING\n");
  installation.WriteLogSettings("T", "[LOG]\nLEVEL=CRITICAL\n");
  EXPECT_EQ(installation.AnswersInMain().at("GetLogLevel"), std::to_string(LOGLEVEL_DEBUG));
  installation.WriteSdkSettings("[SDK]\nNAME=S\n");
  EXPECT_EQ(installation.AnswersInMain().at("GetLogLevel"), std::to_string(LOGLEVEL_WARNING));
  installation.WriteSdkSettings("[SDK]\nNAME=T\n");
  EXPECT_EQ(installation.AnswersInMain().at("GetLogLevel"), std::to_string(LOGLEVEL_CRITICAL));
}

// The log itself stays in the container: the extension may write there.
TEST(GetLogLevel, AloneLeadsOutOfTheExtensionsContainer) {
  const Installation installation;
  installation.WriteSdkSettings("[SDK]\nNAME=S\n");
  installation.WriteLogSettings("S", "[LOG]\nLEVEL=WARNING\n");
  const std::string container = installation.MakeContainer();
  const auto answers = installation.AnswersInExtension(container);
  EXPECT_EQ(answers.at("GetLogLevel"), std::to_string(LOGLEVEL_WARNING));
  EXPECT_EQ(answers.at("GetLogPath"), container + "/Library/Logs/S/qz3log");
}

TEST(StringToLogLevel, KnowsSixNamesExactly) {
  const struct {
    std::string name;
    LOGLEVEL expected;
  } rows[] = {
      {"DEBUG", LOGLEVEL_DEBUG},
      {"MESSAGE", LOGLEVEL_MESSAGE},
      {"WARNING", LOGLEVEL_WARNING},
      {"ERROR", LOGLEVEL_ERROR},
      {"CRITICAL", LOGLEVEL_CRITICAL},
      {"VERBOSE", LOGLEVEL_VERBOSE},
      {"", LOGLEVEL_ERROR},
      {"debug", LOGLEVEL_ERROR},
      {"Warning", LOGLEVEL_ERROR},
      {" DEBUG", LOGLEVEL_ERROR},
      {"DEBUG ", LOGLEVEL_ERROR},
      {"DEBUGS", LOGLEVEL_ERROR},
      {"VERBOS", LOGLEVEL_ERROR},
      {"verbose", LOGLEVEL_ERROR},
      {"1", LOGLEVEL_ERROR},
      {"INFO", LOGLEVEL_ERROR},
      {"DEBUG\n", LOGLEVEL_ERROR},
      {std::string("DEBUG\0", 6), LOGLEVEL_ERROR},
      {std::string("VERBOSE\0x", 9), LOGLEVEL_ERROR},
  };
  for (const auto& row : rows) EXPECT_EQ(StringToLogLevel(row.name), row.expected) << "name: " << row.name;
}

TEST(StringToLogLevel, EndsTheProcessRatherThanThrow) { EXPECT_TRUE(noexcept(StringToLogLevel(std::string()))); }
