// Paths as texts, and trimming.
#include <absl/strings/ascii.h>
#include <absl/strings/match.h>

#include <algorithm>
#include <string>

#include "bench/compare.h"
#include "bench/texts.h"
#include "common/strings/path_string.h"
#include "common/strings/suffix.h"
#include "common/strings/trim.h"

static const std::string& ShortPath() {
  static const std::string path = "/Users//sample/Library///Application Support/File 1.txt";
  return path;
}

static const std::string& LongPath() {
  static const std::string path = Repeated(100, "folder//another/");
  return path;
}

static std::string StdUnique(std::string path) {
  path.erase(std::unique(path.begin(), path.end(), [](char a, char b) { return a == '/' && b == '/'; }), path.end());
  return path;
}

static const Comparison kSlashes(
    "remove_duplicated_slashes", "path of 55 bytes", [] { return remove_duplicated_slashes(ShortPath()); },
    "std::unique", [] { return StdUnique(ShortPath()); });
static const Comparison kManySlashes(
    "remove_duplicated_slashes", "path of 1.6 KB", [] { return remove_duplicated_slashes(LongPath()); }, "std::unique",
    [] { return StdUnique(LongPath()); });

// Each works on a copy.
static std::string Trimmed(std::string text) { return trim(text); }

static std::string AbslTrimmed(std::string text) {
  absl::StripAsciiWhitespace(&text);
  return text;
}

static const std::string& Line() {
  static const std::string line = "  LEVEL = DEBUG\r\n";
  return line;
}

static const std::string& BareLine() {
  static const std::string line = "LEVEL = DEBUG";
  return line;
}

static const std::string& PaddedLine() {
  static const std::string line = std::string(100, ' ') + std::string(1000, 'x') + std::string(100, '\t');
  return line;
}

static const Comparison kTrim(
    "trim", "line of an INI file", [] { return Trimmed(Line()); }, "absl::StripAsciiWhitespace",
    [] { return AbslTrimmed(Line()); });
static const Comparison kTrimNothing(
    "trim", "nothing to trim", [] { return Trimmed(BareLine()); }, "absl::StripAsciiWhitespace",
    [] { return AbslTrimmed(BareLine()); });
static const Comparison kTrimLong(
    "trim", "1 KB, 100 blanks a side", [] { return Trimmed(PaddedLine()); }, "absl::StripAsciiWhitespace",
    [] { return AbslTrimmed(PaddedLine()); });

static const Comparison kEndsWith(
    "ends_with", "path and file name", [] { return ends_with(ShortPath(), "File 1.txt"); }, "absl::EndsWith",
    [] { return absl::EndsWith(ShortPath(), "File 1.txt"); });
