// A copy of the built bundle, for one test: with an SDK name of its own, so that its log and settings lie apart from
// the user's, and with their folders in the user's home removed at the end.
#pragma once

#include <cstddef>
#include <string>

#include "tests/support/temp_folder.h"

class Bundle {
 public:
  enum class Logger { kReal, kRecording };

  explicit Bundle(Logger which = Logger::kReal);
  ~Bundle();
  Bundle(const Bundle&) = delete;
  Bundle& operator=(const Bundle&) = delete;

  // The level that the launcher is to log at; without this call there is no settings file.
  void SetLogLevel(const std::string& level) const;

  // Writes `text` as a launch list and returns its path.
  std::string WriteList(const std::string& text) const;

  // A path in the test's own folder.
  std::string PathOf(const std::string& name) const { return temp.path() + "/" + name; }

  std::string path() const;
  std::string launcher() const { return path() + "/Contents/MacOS/launcher"; }
  // The file in it that says the SDK name.
  std::string sdk_file() const { return path() + "/Contents/Resources/qz3api.ini"; }
  std::string recording() const { return PathOf("recording"); }
  std::string log_folder() const;
  std::string settings_folder() const;
  std::string log_file() const { return log_folder() + "/qz3log/launcher.log"; }

 private:
  TempFolder temp;
  std::string sdk_name;
};

// How many texts with `part` the recording logger of the bundle was given.
size_t CountLogged(const Bundle& bundle, const std::string& part);
