// Where a verb's answer goes: standard output for the answer, standard error for what keeps it from being given.
#pragma once

#include <string>
#include <string_view>

#include "common/json/json_object.h"

// The answer is gathered and written by `Flush`, which `main` calls at the end, and which a verb that goes on (a watch,
// a progress bar) calls for each step. One thread at a time.
class Output {
 public:
  // Looks at standard output: whether it is a terminal, how wide, and whether it may be coloured.
  Output();

  // How people read it. Colours are only for terminals, and never with NO_COLOR set to something.
  enum class Color { kNone, kRed, kGreen, kYellow, kBold, kDim };

  bool is_terminal = false;
  bool has_colors = false;
  int width = 100;    // In columns, at least 40.
  int height = 24;    // In lines.
  bool json = false;  // Set by `main`: the answer is to be one JSON object.

  void Write(std::string_view text) { pending.append(text); }
  // Returns what has been written since the last `Flush`, and forgets it.
  std::string Discard();
  // Looks at the terminal's size again.
  void MeasureAgain();
  // One object on one line.
  void WriteJson(const JsonObject& object);
  // `text` in the colour, or as it is where there are none. A colour never says anything alone.
  std::string Colored(Color color, std::string_view text) const;

  // "launcherctl: MESSAGE" on standard error. The message says what could not be done, to what, and why.
  void Error(std::string_view message) const;

  // Writes what is pending. Returns false when nothing more can be written; `exit_status` becomes kNotAnswered then,
  // with a message, unless the reader has just closed its end, which is its right.
  bool Flush(int& exit_status);

 private:
  std::string pending;
  bool is_broken = false;
};
