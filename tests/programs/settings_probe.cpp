// Prints what the settings functions answer where this program lies, one "function=answer" a line.

#include <cstdio>

#include "common/settings/log_settings.h"
#include "common/settings/paths.h"

static void Print(const char* function, const std::string& answer) {
  (void)printf("%s=%s\n", function, answer.c_str());
}

int main() {
  Print("GetResourcePath", GetResourcePath());
  Print("IsFinderSync", IsFinderSync() ? "true" : "false");
  Print("GetHomePath", GetHomePath());
  Print("GetAppDataPath", GetAppDataPath("not used"));
  Print("GetOSXMountPath of Drive", GetOSXMountPath("Drive"));
  Print("GetOSXMountPath of nothing", GetOSXMountPath(""));
  Print("GetSDKName", GetSDKName());
  Print("GetLogPath", GetLogPath());
  Print("GetLogLevel", std::to_string(GetLogLevel()));
}
