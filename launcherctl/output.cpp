#include "launcherctl/output.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "launcherctl/exit_status.h"

static bool IsSet(const char* variable) {
  const char* const value = getenv(variable);
  return value != nullptr && *value != '\0';
}

// What a variable says about the terminal's size, or 0.
static int SizeFrom(const char* variable) {
  const char* const value = getenv(variable);
  return value != nullptr ? std::clamp(atoi(value), 0, 10000) : 0;
}

Output::Output() {
  is_terminal = isatty(STDOUT_FILENO) == 1;
  const char* const terminal_kind = getenv("TERM");
  const bool is_dumb = terminal_kind == nullptr || strcmp(terminal_kind, "dumb") == 0;
  has_colors = is_terminal && !is_dumb && !IsSet("NO_COLOR");
  MeasureAgain();
}

void Output::MeasureAgain() {
  winsize size = {};
  if (is_terminal && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0) {
    if (size.ws_col > 0) width = size.ws_col;
    if (size.ws_row > 0) height = size.ws_row;
  } else if (SizeFrom("COLUMNS") > 0) {
    width = SizeFrom("COLUMNS");
  }
  width = std::max(width, 40);
}

std::string Output::Discard() {
  std::string text;
  text.swap(pending);
  return text;
}

void Output::WriteJson(const JsonObject& object) {
  Write(object.ToText());
  Write("\n");
}

std::string Output::Colored(Color color, std::string_view text) const {
  if (!has_colors || color == Color::kNone) return std::string(text);
  const char* code = "";
  switch (color) {
    case Color::kNone:
      break;
    case Color::kRed:
      code = "31";
      break;
    case Color::kGreen:
      code = "32";
      break;
    case Color::kYellow:
      code = "33";
      break;
    case Color::kBold:
      code = "1";
      break;
    case Color::kDim:
      code = "2";
      break;
  }
  return "\x1b[" + std::string(code) + "m" + std::string(text) + "\x1b[0m";
}

// Returns 0, or the errno value of what went wrong.
static int WriteWhole(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = write(descriptor, text.data(), text.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno;
    text.remove_prefix(static_cast<size_t>(count));
  }
  return 0;
}

void Output::Error(std::string_view message) const {
  (void)WriteWhole(STDERR_FILENO, "launcherctl: " + std::string(message) + "\n");  // Nowhere else to say it.
}

bool Output::Flush(int& exit_status) {
  if (is_broken) return false;
  const int error = WriteWhole(STDOUT_FILENO, pending);
  pending.clear();
  if (error == 0) return true;
  is_broken = true;
  if (error != EPIPE) {
    Error("standard output can't be written: " + std::string(strerror(error)));
    exit_status = kNotAnswered;
  }
  return false;
}
