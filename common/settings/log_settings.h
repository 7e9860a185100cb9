// What the logger needs to know at its start, from two settings files:
//
//   file                                                                  section  key    without it
//   <resource folder>/qz3api.ini                                          SDK      NAME   empty
//   <home>/Library/Application Support/<SDK name>/log.ini                 LOG      LEVEL  ERROR
//
// Nothing is cached: each call reads the files again. No function reports an error or throws anything but allocation
// failures; what can't be read gives the default. Called from the main thread during start-up; not safe for concurrent
// use, as the path functions are not, except `StringToLogLevel`.
#pragma once

#include <string>

#include "liblogger/liblogger.h"

// Returns the product's SDK name from the bundle's resources, or an empty text when it is missing or has 1024 bytes or
// more.
std::string GetSDKName();

// Returns where the logging library is to write: <home>/Library/Logs/<SDK name>/qz3log. The folder may not exist yet.
// An empty SDK name leaves two slashes in a row.
//
//   GetLogPath()  // "/Users/ada/Library/Logs/Pellux/qz3log"
std::string GetLogPath();

// Returns the level that the user's log.ini asks for, LOGLEVEL_ERROR when it asks for none or for an unknown one.
LOGLEVEL GetLogLevel();

// Returns the level called `name`, exactly and in upper case: "DEBUG", "MESSAGE", "WARNING", "ERROR", "CRITICAL" or
// "VERBOSE"; LOGLEVEL_ERROR for anything else. Never throws; safe to call from any thread.
LOGLEVEL StringToLogLevel(std::string name) noexcept;
