// Guesses what was meant by a mistyped word.
#pragma once

#include <string>
#include <string_view>
#include <vector>

// Returns the candidate that is nearest to `word`, or an empty text when none is near: few letters wrong, missing, too
// many or exchanged, measured by the word's length. Case, '-', '_' and blanks don't count. Of candidates that are
// equally near the first one. Pure; safe to call from any thread.
//
//   NearestOf("runOnce", {"name", "run_once"})  // "run_once"
std::string NearestOf(std::string_view word, const std::vector<std::string>& candidates);
