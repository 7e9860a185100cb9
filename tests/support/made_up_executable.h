// Takes the platform's place: a program that links this is told by the test where its executable lies.
#pragma once

#include <optional>
#include <string>

// Has `GetExecutablePath` answer `path` from now on, or fail when there is none.
void SetExecutablePath(std::optional<std::string> path);
