#include "common/settings/log_settings.h"

#include "common/logging/log.h"
#include "common/settings/paths.h"
#include "common/settings/profile.h"

std::string GetSDKName() {
  char name[1024] = {};
  // The resource folder ends in a slash already; the second one does no harm.
  (void)GetPrivateProfileString("SDK", "NAME", "", name, sizeof(name), GetResourcePath() + "/qz3api.ini");
  return name;
}

std::string GetLogPath() {
  const std::string sdk_name = GetSDKName();
  return GetHomePath() + "/Library/Logs/" + sdk_name + "/qz3log";
}

LOGLEVEL GetLogLevel() {
  const std::string sdk_name = GetSDKName();
  const std::string path = GetAppDataPath(sdk_name) + "/" + sdk_name + "/log.ini";
  char level[1024] = {};
  if (GetPrivateProfileString("LOG", "LEVEL", "ERROR", level, sizeof(level), path) == 0) {
    // Can't happen as long as the fallback is not empty; it guards a change of that.
    __LOG__A(logger, LOGLEVEL_ERROR, "[SERVICE   ] Failed to get log level");
  }
  return StringToLogLevel(level);
}

LOGLEVEL StringToLogLevel(std::string name) noexcept {
  static constexpr struct {
    const char* name;
    LOGLEVEL level;
  } kLevels[] = {
      {"DEBUG", LOGLEVEL_DEBUG}, {"MESSAGE", LOGLEVEL_MESSAGE},   {"WARNING", LOGLEVEL_WARNING},
      {"ERROR", LOGLEVEL_ERROR}, {"CRITICAL", LOGLEVEL_CRITICAL}, {"VERBOSE", LOGLEVEL_VERBOSE},
  };
  for (const auto& known : kLevels) {
    if (name == known.name) return known.level;
  }
  return LOGLEVEL_ERROR;
}
