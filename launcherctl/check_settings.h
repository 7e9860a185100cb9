// Reads the two settings files of a bundle as the launcher reads them, and finds what counts otherwise than it looks.
//
// Unlike the application's own functions (common/settings) these look at each file first, so that a folder in its place
// is a finding and not an endless wait; they take any bundle's files, not just those of the own one; and they know the
// places. Tests hold the answers to those functions'.
#pragma once

#include <string>
#include <vector>

#include "launcherctl/finding.h"
#include "liblogger/liblogger.h"

struct Settings {
  std::string sdk_file;  // The bundle's qz3api.ini.
  std::string sdk_name;  // Empty when it is missing, empty or too long, as for the launcher.
  std::string log_file;  // The user's log.ini; it need not exist.
  LOGLEVEL level = LOGLEVEL_ERROR;
  std::vector<Finding> findings;  // Sorted.
};

// Reads the qz3api.ini in `resource_folder` (with or without a '/' at its end), and the log.ini that belongs to its SDK
// name below `app_data_folder` (`GetAppDataPath`). Never waits. Safe to call from any thread.
//
//   ReadSettings(GetResourcePath(), GetAppDataPath("")).findings
Settings ReadSettings(const std::string& resource_folder, const std::string& app_data_folder);
