// Asks the operating system about processes, and runs commands.
#pragma once

#include <string>

// Runs `command` through the shell, waits for it to end and returns everything that it wrote to its standard output.
// What it leaves running in the background with that output open is waited for as well. Its standard input and error
// are the caller's, and its exit status is discarded: a command that can't be found gives an empty result. The shell
// interprets the whole text, so nothing from outside the program belongs into it.
//
// The output is taken in pieces of at most 127 bytes or a line; of a piece that holds a NUL byte, what follows the
// NUL is lost, so this is for text. Throws std::runtime_error("popen() failed!") when no pipe can be opened. Blocks
// the calling thread; other threads may call it at the same time.
//
//   pexec("echo hi")  // "hi\n"
std::string pexec(std::string command);

// Returns whether a process with this id exists and the caller may signal it; a process of another user counts as
// not running, one that has ended but was not waited for as running. The id is cut to 32 bits, and `kill`'s meaning
// of 0 and of negative ids (process groups) applies. Nothing is delivered; `errno` may change. Safe to call from any
// thread, and between `fork` and `execv`.
bool IsRunningPID(long long id);

// Does nothing: there is no quick-edit mode to disable on this platform.
void DisableQuickEditMode();
