// One value out of an INI file: the last key of a long section, and the usual file of one line.
#include <ini.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>

#include "bench/compare.h"
#include "common/settings/profile.h"

// A settings file for as long as the program runs.
class SettingsFile {
 public:
  explicit SettingsFile(const std::string& content) {
    char name[] = "/tmp/profile_bench.XXXXXX";
    const int created = mkstemp(name);
    if (created < 0) throw std::runtime_error("can't create a file in /tmp");
    (void)close(created);
    path_ = name;
    std::ofstream(path_) << content;
  }
  ~SettingsFile() { (void)unlink(path_.c_str()); }
  SettingsFile(const SettingsFile&) = delete;
  SettingsFile& operator=(const SettingsFile&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

static const std::string& LongFile() {
  static const SettingsFile file([] {
    std::string content = "[LOG]\n";
    for (int i = 0; i < 4999; ++i) content += "KEY" + std::to_string(i) + "=some value " + std::to_string(i) + "\n";
    return content + "LEVEL=DEBUG\n";
  }());
  return file.path();
}

static const std::string& ShortFile() {
  static const SettingsFile file("[LOG]\nLEVEL=DEBUG\n");
  return file.path();
}

static std::string Ours(const std::string& path) {
  char level[1024];
  GetPrivateProfileString("LOG", "LEVEL", "ERROR", level, sizeof(level), path);
  return level;
}

static std::string Inih(const std::string& path) {
  std::string level = "ERROR";
  ini_parse(
      path.c_str(),
      [](void* found, const char* section, const char* name, const char* value) {
        if (strcmp(section, "LOG") == 0 && strcmp(name, "LEVEL") == 0) *static_cast<std::string*>(found) = value;
        return 1;
      },
      &level);
  return level;
}

static const Comparison kLong(
    "GetPrivateProfileString", "the last of 5,000 lines", [] { return Ours(LongFile()); }, "inih",
    [] { return Inih(LongFile()); });
static const Comparison kShort(
    "GetPrivateProfileString", "log.ini", [] { return Ours(ShortFile()); }, "inih", [] { return Inih(ShortFile()); });
