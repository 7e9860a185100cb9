// Compares the INI reader with its literal description, over all short files and random longer ones. Many more of
// these, other ones each time:
//
//   build/release/tests/settings_tests --gtest_filter='ProfileReader.*' --gtest_shuffle --gtest_repeat=100
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "common/settings/profile.h"
#include "tests/common/settings/profile_model.h"
#include "tests/support/file_tree.h"
#include "tests/support/sanitized.h"

// A file that is read by both.
class ProfileReader : public testing::Test {
 protected:
  ProfileReader() : path(folder.WriteFile("settings.ini", "")), file(open(path.c_str(), O_WRONLY | O_CLOEXEC)) {}
  ~ProfileReader() override { (void)close(file); }

  void Compare(const std::string& content, const std::string& section, const std::string& key, int32_t size) {
    ASSERT_EQ(pwrite(file, content.data(), content.size(), 0), static_cast<ssize_t>(content.size()));
    ASSERT_EQ(ftruncate(file, static_cast<off_t>(content.size())), 0);
    const auto described = [&] {
      return "content: " + testing::PrintToString(content) + ", section: " + testing::PrintToString(section) +
             ", key: " + testing::PrintToString(key) + ", size: " + std::to_string(size);
    };

    memset(ours, '#', sizeof(ours));
    memset(literal, '#', sizeof(literal));
    const uint64_t length = GetPrivateProfileString(section, key, "fallback", ours, size, path);
    ASSERT_EQ(length, LiteralProfile::String(section, key, "fallback", literal, size, path)) << described();
    ASSERT_EQ(memcmp(ours, literal, sizeof(ours)), 0) << described();

    constexpr uint32_t kFallback = 123456789;
    ASSERT_EQ(GetPrivateProfileInt(section, key, kFallback, path), LiteralProfile::Int(section, key, kFallback, path))
        << described();
  }

 private:
  const FileTree folder;
  const std::string path;
  const int file;
  char ours[4096];
  char literal[4096];
};

// All texts of at most `longest` of these bytes.
static std::vector<std::string> AllTexts(const std::string& bytes, size_t longest) {
  std::vector<std::string> texts = {""};
  for (size_t i = 0; i < texts.size(); ++i) {
    if (texts[i].size() == longest) continue;
    for (const char byte : bytes) texts.push_back(texts[i] + byte);
  }
  return texts;
}

TEST_F(ProfileReader, FindsSectionsLikeItsLiteralDescription) {
  for (const std::string& text : AllTexts(std::string("[]lL \n\0", 7), 4 + kOneLonger)) {
    ASSERT_NO_FATAL_FAILURE(Compare(text + "\nk=1", "l", "k", 16));
  }
}

TEST_F(ProfileReader, FindsKeysLikeItsLiteralDescription) {
  for (const std::string& text : AllTexts(std::string("[=kK \n\0", 7), 4 + kOneLonger)) {
    ASSERT_NO_FATAL_FAILURE(Compare("[l]\n" + text + "\nk=7", "l", "k", 3));
  }
}

TEST_F(ProfileReader, ReadsRandomFilesLikeItsLiteralDescription) {
  const std::string nul(1, '\0');
  const std::vector<std::string> pieces = {"[",
                                           "]",
                                           "=",
                                           "==",
                                           "k",
                                           "K",
                                           "key",
                                           "section",
                                           "[section]\n",
                                           "[SECTION]\r\n",
                                           "key=",
                                           "KEY=",
                                           "value",
                                           " ",
                                           "\t",
                                           "\v\f",
                                           "\n",
                                           "\n\n",
                                           "\r\n",
                                           nul,
                                           "\x80",
                                           "\xFF",
                                           "-12",
                                           "+34",
                                           "0x10",
                                           "\xC3\x89",
                                           "\xC3\xA9",
                                           ";",
                                           std::string(2040, 'x'),
                                           std::string(300, ' ')};
  const std::vector<std::string> sections = {"section",   " Section\t",        "", "k", "\xC3\xA9",
                                             "[section]", "sec" + nul + "tion"};
  const std::vector<std::string> keys = {"key", "KEY", "", "k", "\xC3\xA9", "key ", "=", "key" + nul};
  const std::vector<int32_t> sizes = {4096, 16, 9, 8, 3, 1, 0, -1};
  std::mt19937 random(static_cast<unsigned int>(testing::UnitTest::GetInstance()->random_seed()));
  const auto any_of = [&random](const auto& choices) -> const auto& {
    // The first choice is the one that leads furthest.
    const size_t chosen = random() % (2 * choices.size());
    return choices[chosen < choices.size() ? chosen : 0];
  };
  for (int i = 0; i < 10000 / kStressDivisor; ++i) {
    std::string content = i % 2 == 0 ? "[section]\n" : "";
    for (size_t left = random() % 41; left > 0; --left) content += pieces[random() % pieces.size()];
    const std::string& section = any_of(sections);
    const std::string& key = any_of(keys);
    ASSERT_NO_FATAL_FAILURE(Compare(content, section, key, any_of(sizes)));
  }
}

// Around the longest piece of a line that is read at once, every byte that means something.
TEST_F(ProfileReader, CutsLongLinesLikeItsLiteralDescription) {
  for (size_t bytes = 2040; bytes <= 2050; ++bytes) {
    for (const std::string& end : AllTexts(std::string("[]=k \n\0", 7), 1 + kOneLonger)) {
      const std::string filler(bytes, 'x');
      ASSERT_NO_FATAL_FAILURE(Compare("[l]\n" + filler + end + "key=9\n", "l", "key", 4096));
    }
    const std::string value(bytes, 'v');
    for (const char* rest : {"", "\n", "=", "\nkey=1", "=key=1", "key=1"}) {
      ASSERT_NO_FATAL_FAILURE(Compare("[l]\nkey=" + value + rest, "l", "key", -1));
      ASSERT_NO_FATAL_FAILURE(Compare(value + "[l]\nkey=1" + rest, "l", "key", 4096));
    }
  }
}
