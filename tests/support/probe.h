// Runs probes: programs that print what functions answer where they lie, one "function=answer" a line.
#pragma once

#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>

// Copies the program to `path`, creating its folders, and returns `path`.
inline std::string PlaceProbe(const std::string& program, const std::string& path) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::filesystem::copy_file(program, path);
  return path;
}

// Returns a path below `folder` that has exactly `bytes` bytes and ends with `end`. There must be room for it.
inline std::string PathOfLength(const std::string& folder, size_t bytes, const std::string& end) {
  constexpr size_t kFolderNameBytes = 100;  // Well below what a file system allows.
  std::string path = folder;
  while (bytes - path.size() > 2 * kFolderNameBytes) path += "/" + std::string(kFolderNameBytes - 1, 'd');
  path += "/";
  return path + std::string(bytes - path.size() - end.size(), 'p') + end;
}

// Runs the program at `path` in the root folder and returns its answers by function. Of the variables that probes ask
// about it finds those in `environment` and no others. Throws when it does not end well.
inline std::map<std::string, std::string> RunProbe(const std::string& path,
                                                   const std::map<std::string, std::string>& environment) {
  int ends[2];
  if (pipe(ends) != 0) throw std::runtime_error("pipe() failed");
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("fork() failed");
  if (child == 0) {
    for (const char* name : {"HOME", "PROBE_HOME", "PROBE_LOGIN"}) (void)unsetenv(name);
    for (const auto& [name, value] : environment) (void)setenv(name.c_str(), value.c_str(), 1);
    if (chdir("/") == 0 && dup2(ends[1], STDOUT_FILENO) >= 0) (void)execl(path.c_str(), path.c_str(), nullptr);
    _exit(127);
  }
  (void)close(ends[1]);
  std::string output;
  char piece[4096];
  for (ssize_t count; (count = read(ends[0], piece, sizeof(piece))) != 0;) {
    if (count > 0) output.append(piece, static_cast<size_t>(count));
    if (count < 0 && errno != EINTR) break;
  }
  (void)close(ends[0]);
  int status = 0;
  if (waitpid(child, &status, 0) != child || status != 0) throw std::runtime_error("the probe failed: " + path);

  std::map<std::string, std::string> answers;
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) {
    const size_t equals = line.find('=');
    answers[line.substr(0, equals)] = line.substr(equals + 1);
  }
  return answers;
}
