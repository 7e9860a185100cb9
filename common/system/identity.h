// Tells who the user is and makes unique names.
#pragma once

#include <string>

// Returns the login name of the process's real user, or an empty text when the user database has no entry.
// Not safe for concurrent use: the user database's answer lies in storage that all of `getpwuid`'s callers share.
std::string GetUserName();

// Returns a new random (version 4) UUID: 36 characters, hexadecimal digits in groups of 8, 4, 4, 4 and 12 joined by
// '-'. The letters' case is the platform's (upper on macOS, lower on Linux). Safe to call from any thread.
std::string NewUUID();
