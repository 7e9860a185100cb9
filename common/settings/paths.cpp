#include "common/settings/paths.h"

#include <pwd.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <memory>

#include "common/strings/suffix.h"
#include "common/system/executable.h"
#include "common/system/identity.h"

// Empty when the path does not fit.
static std::string ExecutablePath() {
  char path[1024] = {};
  uint32_t size = sizeof(path);
  return GetExecutablePath(path, &size) < 0 ? std::string() : std::string(path);
}

static std::string ResolvedOrAsItIs(const std::string& path) {
  const std::unique_ptr<char, void (*)(void*)> resolved(realpath(path.c_str(), nullptr), &free);
  return resolved != nullptr ? std::string(resolved.get()) : path;
}

std::string GetResourcePath() {
  std::string path = ExecutablePath();
  if (path.empty()) return path;
  const size_t last_slash = path.rfind('/');
  if (last_slash != std::string::npos) path.erase(last_slash);
  path += IsFinderSync() ? "/../../../../Resources" : "/../Resources";
  path = ResolvedOrAsItIs(path);
  if (!ends_with(path, "/")) path += "/";
  return path;
}

bool IsFinderSync() { return ends_with(ExecutablePath(), "FinderSync"); }

std::string GetHomePath() {
  // The user database wins over the environment: a program started with somebody else's HOME still finds its files.
  const passwd* const user = getpwuid(getuid());
  if (user != nullptr) return user->pw_dir;
  const char* const home = getenv("HOME");
  return home != nullptr ? home : std::string();
}

static bool IsSandboxContainerOfFinderSync(const std::string& home) {
  return home.find("com.pellux") != std::string::npos && home.find("FinderSync") != std::string::npos;
}

std::string GetAppDataPath(std::string) {
  std::string home = GetHomePath();
  if (IsFinderSync() && IsSandboxContainerOfFinderSync(home)) home += "/../../../..";
  return home + "/Library/Application Support";
}

std::string GetOSXMountPath(std::string name) { return "/Volumes/" + name + "_" + GetUserName(); }
