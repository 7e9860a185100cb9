#include "launcherctl/program_check.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <string_view>

#include "launcherctl/escape.h"
#include "launcherctl/program_platform.h"

using System = BinaryFormat::System;

static constexpr const char* kNotFound = "program-not-found";
static constexpr const char* kNotExecutable = "program-not-executable";
static constexpr const char* kInterpreterNotFound = "interpreter-not-found";

// --- Where it is

// The first folder on the way to `path` that does not exist, or an empty text.
static std::string MissingFolder(const std::string& path) {
  for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1)) {
    std::string folder = path.substr(0, slash);
    struct stat status = {};
    if (stat(folder.c_str(), &status) != 0) return folder;
  }
  return {};
}

static ProgramProblem CantBeFound(const std::string& program, int error) {
  if (error == EACCES) {
    return {kNotExecutable, "can't be reached: this user may not pass through all folders of its path",
            "Give this user the permission to pass through these folders (chmod a+x), or use another path."};
  }
  ProgramProblem problem{kNotFound, "does not exist", "Correct the path, or put the program there."};
  struct stat link = {};
  if (error == ENOENT && lstat(program.c_str(), &link) == 0 && S_ISLNK(link.st_mode)) {
    problem.message = "is a link to something that does not exist";
    problem.remedy = "Correct the link, or put the program where it points.";
  } else if (error == ENOTDIR) {
    problem.message = "does not exist: a part of its path is not a folder";
  } else if (error != ENOENT) {
    problem.message = std::string("can't be found: ") + strerror(error);
  } else if (program.find('$') != std::string::npos) {
    problem.message = "does not exist; a $ is not replaced in a path";
    problem.remedy = "Write the path in full.";
  } else {
    const std::string folder = MissingFolder(program);
    if (!folder.empty()) problem.message = "does not exist, and neither does the folder " + ShownText(folder);
  }
  return problem;
}

// What keeps the file at `path`, which exists, from being executed by its permissions or its kind.
static ProgramProblem LookAtFile(const std::string& path, const struct stat& status) {
  if (S_ISDIR(status.st_mode)) {
    const bool is_application = path.size() > 4 && path.compare(path.size() - 4, 4, ".app") == 0;
    return {
        kNotExecutable, "is a folder",
        is_application ? "Name the program inside the application: below Contents/MacOS." : "Name the program itself."};
  }
  if (!S_ISREG(status.st_mode)) return {kNotExecutable, "is not a file", "Name the program itself."};
  constexpr mode_t kAnyExecutes = S_IXUSR | S_IXGRP | S_IXOTH;
  if ((status.st_mode & kAnyExecutes) == 0) {
    return {kNotExecutable, "may not be executed: it has no permission to be, for anybody",
            "If it is a program, give it the permission: chmod a+x " + Quoted(path)};
  }
  if (access(path.c_str(), X_OK) != 0) {
    return {kNotExecutable, "may not be executed by this user, or lies on a volume from which nothing may be executed",
            "Look at its owner and permissions with ls -l, and at the volume's options with mount."};
  }
  return {};
}

// --- What it is

// The file's first bytes, or nothing when it can't be read.
static std::optional<std::string> ReadHead(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (file < 0) return std::nullopt;
  std::string head(kHeadBytes, '\0');
  const ssize_t count = read(file, head.data(), head.size());
  (void)close(file);
  head.resize(static_cast<size_t>(std::max<ssize_t>(count, 0)));
  return head;
}

static ProgramProblem LookAtInterpreter(std::string_view head) {
  // Both systems: blanks, the path, and an argument that does not matter here.
  std::string_view line = head.substr(2, head.find('\n') - 2);
  line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
  const std::string interpreter(
      line.substr(0, std::min(line.find_first_of(std::string_view(" \t\0", 3)), line.size())));
  const auto problem = [&](const std::string& message, const std::string& remedy) {
    return ProgramProblem{kInterpreterNotFound, message, remedy};
  };
  if (interpreter.empty()) {
    return problem("is a script whose first line names no interpreter", "Write it behind the #!, like #!/bin/sh");
  }
  const std::string names = "is a script whose first line names the interpreter " + Quoted(interpreter) + ", which ";
  if (interpreter.back() == '\r') {
    return problem(names + "does not exist: the line ends with a carriage return",
                   "Save the script with the line ends of this system, line feeds alone.");
  }
  if (interpreter.front() != '/') {
    return problem(names + "is not an absolute path", "Write the interpreter's whole path, or use #!/usr/bin/env");
  }
  struct stat status = {};
  if (stat(interpreter.c_str(), &status) != 0) {
    return problem(names + "does not exist", "Install the interpreter, or correct the script's first line.");
  }
  const ProgramProblem file = LookAtFile(interpreter, status);
  if (!file.code.empty()) return problem(names + file.message, "Correct the script's first line.");
  return {};
}

static std::string SystemName(System system) {
  switch (system) {
    case System::kLinux:
      return "Linux or its like";
    case System::kMacos:
      return "macOS";
    case System::kWindows:
      return "Windows";
    case System::kUnknown:
      break;
  }
  return "no system";
}

static std::string Joined(const std::vector<std::string>& words) {
  std::string joined;
  for (const std::string& word : words) joined += (joined.empty() ? "" : " and ") + word;
  return joined;
}

static ProgramProblem LookAtFormat(const std::string& program, std::string_view head) {
  static constexpr const char* kOtherBuild = "Put the program there that was built for this system and processor.";
  if (head.substr(0, 2) == "#!") return LookAtInterpreter(head);
  const BinaryFormat format = ReadBinaryFormat(head);
  static const std::vector<std::string> processors = ExecutedProcessors();
  const bool has_a_processor =
      processors.empty() || std::any_of(format.processors.begin(), format.processors.end(), [&](const auto& one) {
        return std::find(processors.begin(), processors.end(), one) != processors.end();
      });
  const bool is_ours = format.system == kOwnSystem && format.is_program && has_a_processor;
  if (!is_ours && HasForeignHandler(program, head)) return {};

  if (format.system == System::kUnknown) {
    return {kNotExecutable, "is neither a program nor a script with a first line that names its interpreter",
            "If it is a script, let it begin with a line like #!/bin/sh"};
  }
  if (format.system != kOwnSystem) {
    return {kNotExecutable, "is a program for another system, " + SystemName(format.system), kOtherBuild};
  }
  if (!format.is_program) return {kNotExecutable, "is a library or a part of a program, not a program", kOtherBuild};
  if (!has_a_processor) {
    return {kNotExecutable, "is a program for another processor, " + Joined(format.processors), kOtherBuild};
  }
  struct stat status = {};
  if (!format.loader.empty() && stat(format.loader.c_str(), &status) != 0) {
    return {kNotExecutable,
            "is a program for another system: " + Quoted(format.loader) + ", which is to load it, does not exist",
            kOtherBuild};
  }
  return {};
}

ProgramProblem CheckProgram(const std::string& program) {
  struct stat status = {};
  if (stat(program.c_str(), &status) != 0) return CantBeFound(program, errno);
  ProgramProblem problem = LookAtFile(program, status);
  if (!problem.code.empty()) return problem;
  if (status.st_size == 0) {
    return {kNotExecutable, "is an empty file", "Put the program there."};
  }
  const std::optional<std::string> head = ReadHead(program);
  return head ? LookAtFormat(program, *head) : ProgramProblem();
}
