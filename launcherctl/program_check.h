// Tells whether the system would execute a program: the tests that `execv` makes, in its order, without executing
// anything. The answer is about now and about this user.
#pragma once

#include <string>

struct ProgramProblem {
  std::string code;     // "program-not-found", "program-not-executable" or "interpreter-not-found"; empty: none.
  std::string message;  // A sentence part that follows the path: "does not exist", "is a folder". Escaped already.
  std::string remedy;   // What to do about it, a whole sentence.
};

// Looks at the absolute path `program`: whether it exists, is a file that this user may execute, and has a format that
// this system executes (ELF or Mach-O for this processor, or a script whose interpreter exists). A file that may be
// executed but not read can't be looked into, and counts as well. Nothing is ever waited on. Safe to call from any
// thread.
ProgramProblem CheckProgram(const std::string& program);
