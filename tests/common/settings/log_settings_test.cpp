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
    const char* expected;
  } rows[] = {
      {"[LOG]\nLEVEL=DEBUG\n", "1"},
      {"[LOG]\nLEVEL=MESSAGE\n", "2"},
      {"[LOG]\nLEVEL=WARNING\n", "4"},
      {"[LOG]\nLEVEL=ERROR\n", "8"},
      {"[LOG]\nLEVEL=CRITICAL\n", "16"},
      {"[LOG]\nLEVEL=VERBOSE\n", "17"},
      {"[log]\r\nlevel=WARNING\r\n", "4"},
      {"[LOG]\nLEVEL=debug\n", "8"},
      {"[LOG]\nLEVEL = DEBUG\n", "8"},
      {"[LOG]\nLEVEL= DEBUG\n", "8"},
      {"[LOG]\nLEVEL=\"DEBUG\"\n", "8"},
      {"[LOG]\nLEVEL=1\n", "8"},
      {"[LOG]\nLEVEL=\n", "8"},
      {"[LOG]\nLEVEL==DEBUG\n", "8"},
      {"[LOG]\nLEVEL=DEBUG" + std::string(1100, 'x') + "\n", "8"},
      {"[LOG]\nOTHER=DEBUG\n", "8"},
      {"[SDK]\nLEVEL=DEBUG\n", "8"},
      {"", "8"},
  };
  const Installation installation;
  installation.WriteSdkSettings("[SDK]\nNAME=S\n");
  for (const auto& row : rows) {
    installation.WriteLogSettings("S", row.content);
    EXPECT_EQ(installation.AnswersInMain().at("GetLogLevel"), row.expected) << "content: " << row.content;
  }
}

TEST(GetLogLevel, IsErrorWithoutAFile) {
  const Installation installation;
  installation.WriteSdkSettings("[SDK]\nNAME=S\n");
  EXPECT_EQ(installation.AnswersInMain().at("GetLogLevel"), "8");
}

TEST(GetLogLevel, BelongsToTheSdkName) {
  const Installation installation;
  installation.WriteLogSettings("", "[LOG]\nLEVEL=DEBUG\n");
  installation.WriteLogSettings("S", "[LOG]\nLEVEL=WARNING\n");
  installation.WriteLogSettings("T", "[LOG]\nLEVEL=CRITICAL\n");
  EXPECT_EQ(installation.AnswersInMain().at("GetLogLevel"), "1");
  installation.WriteSdkSettings("[SDK]\nNAME=S\n");
  EXPECT_EQ(installation.AnswersInMain().at("GetLogLevel"), "4");
  installation.WriteSdkSettings("[SDK]\nNAME=T\n");
  EXPECT_EQ(installation.AnswersInMain().at("GetLogLevel"), "16");
}

// The log itself stays in the container: the extension may write there.
TEST(GetLogLevel, AloneLeadsOutOfTheExtensionsContainer) {
  const Installation installation;
  installation.WriteSdkSettings("[SDK]\nNAME=S\n");
  installation.WriteLogSettings("S", "[LOG]\nLEVEL=WARNING\n");
  const std::string container = installation.MakeContainer();
  const auto answers = installation.AnswersInExtension(container);
  EXPECT_EQ(answers.at("GetLogLevel"), "4");
  EXPECT_EQ(answers.at("GetLogPath"), container + "/Library/Logs/S/qz3log");
}

TEST(StringToLogLevel, KnowsSixNamesExactly) {
  const struct {
    std::string name;
    int expected;
  } rows[] = {
      {"DEBUG", 1},
      {"MESSAGE", 2},
      {"WARNING", 4},
      {"ERROR", 8},
      {"CRITICAL", 16},
      {"VERBOSE", 17},
      {"", 8},
      {"debug", 8},
      {"Warning", 8},
      {" DEBUG", 8},
      {"DEBUG ", 8},
      {"DEBUGS", 8},
      {"VERBOS", 8},
      {"verbose", 8},
      {"1", 8},
      {"INFO", 8},
      {"DEBUG\n", 8},
      {std::string("DEBUG\0", 6), 8},
      {std::string("VERBOSE\0x", 9), 8},
  };
  for (const auto& row : rows) EXPECT_EQ(StringToLogLevel(row.name), row.expected) << "name: " << row.name;
}

TEST(StringToLogLevel, EndsTheProcessRatherThanThrow) { EXPECT_TRUE(noexcept(StringToLogLevel(std::string()))); }
