// Replacing.
#include <absl/strings/str_replace.h>

#include <string>

#include "bench/compare.h"
#include "bench/texts.h"
#include "common/strings/replace.h"

// 100,000 times twelve bytes.
static const std::string& LongText() {
  static const std::string text = Repeated(100000, "some text, a");
  return text;
}

static const std::string& ShortText() {
  static const std::string text = "/Users/sample/Library/File $NAME.txt";
  return text;
}

// Both start from a text that stays as it is.
static std::string ReplaceAll(std::string text, const std::string& from, const std::string& to) {
  replace_all(text, from, to);
  return text;
}

static const Comparison kLonger(
    "replace_all", "100,000 in 1.2 MB by longer", [] { return ReplaceAll(LongText(), ", ", " and "); },
    "absl::StrReplaceAll",
    [] {
      return absl::StrReplaceAll(LongText(), {{", ", " and "}});
    });
static const Comparison kShorter(
    "replace_all", "100,000 in 1.2 MB by shorter", [] { return ReplaceAll(LongText(), ", ", ";"); },
    "absl::StrReplaceAll",
    [] {
      return absl::StrReplaceAll(LongText(), {{", ", ";"}});
    });
static const Comparison kSame(
    "replace_all", "100,000 in 1.2 MB by as long", [] { return ReplaceAll(LongText(), ",", ";"); },
    "absl::StrReplaceAll",
    [] {
      return absl::StrReplaceAll(LongText(), {{",", ";"}});
    });
static const Comparison kOne(
    "replace_all", "one in 36 bytes", [] { return ReplaceAll(ShortText(), "$NAME", "sample file"); },
    "absl::StrReplaceAll",
    [] {
      return absl::StrReplaceAll(ShortText(), {{"$NAME", "sample file"}});
    });
static const Comparison kNone(
    "replace_all", "none in 1.2 MB", [] { return ReplaceAll(LongText(), "$NAME", "x"); }, "absl::StrReplaceAll",
    [] {
      return absl::StrReplaceAll(LongText(), {{"$NAME", "x"}});
    });
