// Shell completion, generated from what the command line knows of itself.
#pragma once

#include <string>
#include <vector>

struct CompletedVerb {
  enum class Takes { kNothing, kFiles, kItems };
  std::string name;
  std::string summary;
  std::vector<std::string> options;  // "--json"
  Takes takes = Takes::kNothing;
};

// A script for the shell "bash" or "zsh", ends with a line feed; an empty text for another one. The names of items are
// asked for when they are needed, with `launcherctl completion items`.
std::string CompletionFor(const std::string& shell, const std::vector<CompletedVerb>& verbs);

// The names of the items of the running launchers, as far as a shell can complete them: none with
// control characters, blanks at its ends or a quote.
std::vector<std::string> NamesToComplete();
