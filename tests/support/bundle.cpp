#include "tests/support/bundle.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>

#include "common/settings/paths.h"
#include "tests/support/files.h"
#include "tests/support/recording.h"

namespace fs = std::filesystem;

// Holds a lock on the home folder, shared with other running tests, as long as the test program runs. The last one to
// end removes what the bundles' folders stood in, as far as it is empty: nobody can be about to use it then.
class SharedHomeFolders {
 public:
  SharedHomeFolders() {
    lock = open(GetHomePath().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    (void)flock(lock, LOCK_SH);
  }
  ~SharedHomeFolders() {
    if (flock(lock, LOCK_EX | LOCK_NB) == 0) {
      for (const char* folder : {"/Library/Logs", "/Library/Application Support", "/Library"}) {
        (void)rmdir((GetHomePath() + folder).c_str());
      }
    }
    (void)close(lock);
  }

 private:
  int lock;
};

static std::string UniqueSdkName() {
  static int count = 0;
  return "PelluxTest-" + std::to_string(getpid()) + "-" + std::to_string(++count);
}

Bundle::Bundle(Logger which) : sdk_name(UniqueSdkName()) {
  static const SharedHomeFolders home_folders;
  fs::copy(BUILT_BUNDLE, path(), fs::copy_options::recursive);
  WriteFile(sdk_file(), "[SDK]\nNAME=" + sdk_name + "\n");
  if (which == Logger::kRecording) {
    const std::string library = path() + "/Contents/Frameworks/" + fs::path(LIBLOGGER).filename().string();
    fs::copy_file(RECORDING_LIBLOGGER, library, fs::copy_options::overwrite_existing);
  }
}

Bundle::~Bundle() {
  std::error_code ignored;
  fs::remove_all(log_folder(), ignored);
  fs::remove_all(settings_folder(), ignored);
}

void Bundle::SetLogLevel(const std::string& level) const {
  fs::create_directories(settings_folder());
  WriteFile(settings_folder() + "/log.ini", "[LOG]\nLEVEL=" + level + "\n");
}

std::string Bundle::WriteList(const std::string& text) const {
  WriteFile(PathOf("list.json"), text);
  return PathOf("list.json");
}

std::string Bundle::path() const { return PathOf(fs::path(BUILT_BUNDLE).filename().string()); }

std::string Bundle::log_folder() const { return GetHomePath() + "/Library/Logs/" + sdk_name; }

std::string Bundle::settings_folder() const { return GetHomePath() + "/Library/Application Support/" + sdk_name; }

size_t CountLogged(const Bundle& bundle, const std::string& part) {
  return LoggedWith(bundle.recording(), part).size();
}
