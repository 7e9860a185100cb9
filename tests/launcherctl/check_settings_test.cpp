#include "launcherctl/check_settings.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "common/settings/log_settings.h"
#include "common/settings/profile.h"
#include "tests/support/files.h"
#include "tests/support/sanitized.h"
#include "tests/support/temp_folder.h"

using Strings = std::vector<std::string>;

// A resource folder and a folder for application data.
class ReadSettingsFrom : public testing::Test {
 protected:
  ReadSettingsFrom() {
    std::filesystem::create_directories(temp.path() + "/Resources");
    std::filesystem::create_directories(temp.path() + "/data/Sdk");
    WriteFile(sdk_file(), "[SDK]\nNAME=Sdk\n");
  }

  std::string sdk_file() const { return temp.path() + "/Resources/qz3api.ini"; }
  std::string log_file() const { return temp.path() + "/data/Sdk/log.ini"; }

  Settings Read() const { return ReadSettings(temp.path() + "/Resources/", temp.path() + "/data"); }

  // "log.ini 2:6 warning settings-blank" for each finding.
  Strings Findings() const {
    Strings described;
    for (const Finding& finding : Read().findings) {
      described.push_back(std::filesystem::path(finding.file).filename().string() + " " + std::to_string(finding.line) +
                          ":" + std::to_string(finding.column) + " " + SeverityName(finding.severity) + " " +
                          finding.code);
    }
    return described;
  }

  TempFolder temp;
};

TEST_F(ReadSettingsFrom, FindsNothingInSettingsThatAreWell) {
  EXPECT_EQ(Findings(), Strings{});  // A log.ini need not be there.
  for (const char* text : {"", "\n", "[LOG]\n", "[LOG]\nLEVEL=DEBUG\n", "[ log ]\r\nlevel=DEBUG\r\n",
                           "; LEVEL = x\n[OTHER]\nLEVEL = 7\n[LOG]\n; c\nLEVEL=ERROR\nOTHER = 1\n[REST]\nLEVEL=x\n"}) {
    WriteFile(log_file(), text);
    EXPECT_EQ(Findings(), Strings{}) << text;
  }
}

TEST_F(ReadSettingsFrom, ReadsNameAndLevel) {
  WriteFile(log_file(), "[LOG]\nLEVEL=DEBUG\n");
  const Settings settings = Read();
  EXPECT_EQ(settings.sdk_file, sdk_file());
  EXPECT_EQ(settings.sdk_name, "Sdk");
  EXPECT_EQ(settings.log_file, log_file());
  EXPECT_EQ(settings.level, LOGLEVEL_DEBUG);
}

TEST_F(ReadSettingsFrom, LogIniFindsEachMistakeAtItsPlace) {
  const struct {
    std::string text;
    Strings expected;
    LOGLEVEL level;
  } rows[] = {
      {"[LOG]\nLEVEL =DEBUG", {"log.ini 2:6 warning settings-blank"}, LOGLEVEL_ERROR},
      {"[LOG]\n  LEVEL\t= DEBUG", {"log.ini 2:8 warning settings-blank"}, LOGLEVEL_ERROR},
      {"[LOG]\nLEVEL= DEBUG", {"log.ini 2:7 warning settings-blank"}, LOGLEVEL_ERROR},
      {"[LOG]\nLEVEL = DEBUG\nLEVEL=MESSAGE", {"log.ini 2:6 warning settings-blank"}, LOGLEVEL_MESSAGE},
      {"[LOG]\nLEVEL=debug", {"log.ini 2:7 warning settings-value"}, LOGLEVEL_ERROR},
      {"[LOG]\nLEVEL=\"DEBUG\"", {"log.ini 2:7 warning settings-value"}, LOGLEVEL_ERROR},
      {"[LOG]\nLEVEL=", {"log.ini 2:1 warning settings-value"}, LOGLEVEL_ERROR},
      {"[LOG]\nLEVEL==DEBUG", {"log.ini 2:7 warning settings-value"}, LOGLEVEL_ERROR},
      {"[LOG]\nLEVEL=DEBUG=x", {}, LOGLEVEL_DEBUG},
      {"[LOG]\nLEVEL=\nLEVEL=DEBUG", {"log.ini 2:1 warning settings-value"}, LOGLEVEL_DEBUG},
      {"[LOG]\nLEVEL=" + std::string(1024, 'x'), {"log.ini 2:7 warning settings-value"}, LOGLEVEL_ERROR},
      {"[LOG]\nLEVEL=DEBUG\nLEVEL=ERROR", {"log.ini 3:1 warning settings-late"}, LOGLEVEL_DEBUG},
      {"[LOG]\nLEVEL=DEBUG\nlevel = ERROR", {"log.ini 3:1 warning settings-late"}, LOGLEVEL_DEBUG},
      {"[LOG]\n[X]\n[log]\nLEVEL=DEBUG", {"log.ini 4:1 warning settings-late"}, LOGLEVEL_ERROR},
      {"[LOG]\n[LOG]\n LEVEL=DEBUG", {"log.ini 3:2 warning settings-late"}, LOGLEVEL_ERROR},
      {"[LOG]\n[x\nLEVEL=DEBUG", {}, LOGLEVEL_ERROR},
      {"\xEF\xBB\xBF[LOG]\nLEVEL=DEBUG", {"log.ini 1:1 error byte-order-mark"}, LOGLEVEL_ERROR},
      {"\xEF\xBB\xBF\n[LOG]\nLEVEL=DEBUG", {"log.ini 1:1 error byte-order-mark"}, LOGLEVEL_DEBUG},
      {"[LOG]\n\xC3\xA4 = 1\nLEVEL=\xC3\xA4", {"log.ini 3:7 warning settings-value"}, LOGLEVEL_ERROR},
  };
  for (const auto& row : rows) {
    WriteFile(log_file(), row.text);
    EXPECT_EQ(Findings(), row.expected) << row.text;
    EXPECT_EQ(Read().level, row.level) << row.text;
  }
}

TEST_F(ReadSettingsFrom, Qz3apiIniFindsEachMistakeAtItsPlace) {
  const struct {
    std::string text;
    Strings expected;
    std::string name;
  } rows[] = {
      {"", {"qz3api.ini 1:1 warning settings-value"}, ""},
      {"[SDK]\n", {"qz3api.ini 1:1 warning settings-value"}, ""},
      {"[SDK]\nNAME=", {"qz3api.ini 2:1 warning settings-value"}, ""},
      {"[SDK]\nNAME==x", {"qz3api.ini 2:6 warning settings-value"}, ""},
      {"[SDK]\nNAME=a/b", {"qz3api.ini 2:6 warning settings-value"}, "a/b"},
      {"[SDK]\nNAME=..", {"qz3api.ini 2:6 warning settings-value"}, ".."},
      {"[SDK]\nNAME=" + std::string(1024, 'x'), {"qz3api.ini 2:6 warning settings-value"}, ""},
      {"[SDK]\nNAME=" + std::string(200, 'x'), {}, std::string(200, 'x')},
      {"[SDK]\nNAME = x", {"qz3api.ini 2:5 warning settings-blank"}, ""},
      {"[SDK]\nNAME= x", {"qz3api.ini 2:6 warning settings-blank"}, " x"},
      {"[SDK]\nNAME=x\nNAME=y", {"qz3api.ini 3:1 warning settings-late"}, "x"},
      {"[SDK]\n[SDK]\nNAME=y", {"qz3api.ini 3:1 warning settings-late"}, ""},
      {"\xEF\xBB\xBF[SDK]\nNAME=x", {"qz3api.ini 1:1 error byte-order-mark"}, ""},
  };
  for (const auto& row : rows) {
    WriteFile(sdk_file(), row.text);
    EXPECT_EQ(Findings(), row.expected) << row.text;
    EXPECT_EQ(Read().sdk_name, row.name) << row.text;
  }
}

TEST_F(ReadSettingsFrom, NoQz3apiIniIsAnEmptyName) {
  ASSERT_EQ(unlink(sdk_file().c_str()), 0);
  EXPECT_EQ(Findings(), Strings{"qz3api.ini 1:1 warning settings-value"});
  EXPECT_EQ(Read().sdk_name, "");
}

TEST_F(ReadSettingsFrom, WhatIsNoFileIsNotWaitedOn) {
  for (const std::string& path : {sdk_file(), log_file()}) {
    const std::string name = std::filesystem::path(path).filename().string();
    const std::string text = ReadFile(path);
    (void)unlink(path.c_str());
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    EXPECT_EQ(Findings(), Strings{name + " 1:1 error not-a-file"});
    ASSERT_EQ(rmdir(path.c_str()), 0);
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(Findings(), Strings{name + " 1:1 error not-a-file"});
    ASSERT_EQ(unlink(path.c_str()), 0);
    ASSERT_EQ(symlink("loop", path.c_str()), 0);
    ASSERT_EQ(symlink("loop", (std::filesystem::path(path).parent_path() / "loop").c_str()), 0);
    EXPECT_EQ(Findings(), Strings{name + " 1:1 error unreadable"});
    ASSERT_EQ(unlink(path.c_str()), 0);
    WriteFile(path, text);
  }
}

// --- The answers of the application's own functions

TEST_F(ReadSettingsFrom, AgreesWithTheApplicationOnGeneratedFiles) {
  static const char* const kPieces[] = {
      "[LOG]", "[log]",   "[ Log ]", "[x]", "[x", "[]", "LEVEL",        "level", "Level",   "=",
      "=",     "=",       "==",      " ",   "\t", "\n", "\n",           "\n",    "\r\n",    "DEBUG",
      "ERROR", "MESSAGE", "debug",   "\"",  ";",  "#",  "\xEF\xBB\xBF", "\v",    "CRITICAL"};
  std::mt19937 random(11);
  for (int i = 0; i < 400 / kStressDivisor; ++i) {
    std::string text = i % 4 == 0 ? "" : "[LOG]\n";
    for (size_t pieces = random() % 14; pieces > 0; --pieces) {
      text += kPieces[random() % (sizeof(kPieces) / sizeof(*kPieces))];
      if (random() % 40 == 0) text += std::string(1020 + random() % 1030, 'y');
      if (random() % 40 == 0) text.push_back('\0');
    }
    WriteFile(log_file(), text);
    char level[1024] = {};
    (void)GetPrivateProfileString("LOG", "LEVEL", "ERROR", level, sizeof(level), log_file());
    ASSERT_EQ(Read().level, StringToLogLevel(level)) << text;

    WriteFile(temp.path() + "/name.ini", text);
    // The same text as a file of the other kind.
    std::string renamed = text;
    for (size_t at = 0; (at = renamed.find("LOG", at)) != std::string::npos; at += 3) renamed.replace(at, 3, "SDK");
    for (size_t at = 0; (at = renamed.find("LEVEL", at)) != std::string::npos; at += 4) renamed.replace(at, 5, "NAME");
    WriteFile(sdk_file(), renamed);
    char name[1024] = {};
    (void)GetPrivateProfileString("SDK", "NAME", "", name, sizeof(name), sdk_file());
    ASSERT_EQ(Read().sdk_name, name) << renamed;
    WriteFile(sdk_file(), "[SDK]\nNAME=Sdk\n");
  }
}
