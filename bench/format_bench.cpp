// Formatting.
#include <fmt/printf.h>

#include <string>

#include "bench/compare.h"
#include "common/strings/format.h"

static const std::string& Name() {
  static const std::string name = "synchronisation";
  return name;
}

static const std::string& LongText() {
  static const std::string text(2000, 'x');
  return text;
}

static const Comparison kPlain(
    "string_format", "text alone", [] { return string_format("Start to fork"); }, "fmt::sprintf",
    [] { return fmt::sprintf("Start to fork"); });
static const Comparison kRecord(
    "string_format", "%s: %d of %d", [] { return string_format("%s: %d of %d", Name().c_str(), 3, 8); }, "fmt::sprintf",
    [] { return fmt::sprintf("%s: %d of %d", Name().c_str(), 3, 8); });
static const Comparison kColumns(
    "string_format", "%05d|%-8s|%+.2f|%x",
    [] { return string_format("%05d|%-8s|%+.2f|%x", -42, Name().c_str(), 1.5, 0xBEEFU); }, "fmt::sprintf",
    [] { return fmt::sprintf("%05d|%-8s|%+.2f|%x", -42, Name().c_str(), 1.5, 0xBEEFU); });
static const Comparison kLong(
    "string_format", "%s of 2 KB, %d", [] { return string_format("%s, %d", LongText().c_str(), 8); }, "fmt::sprintf",
    [] { return fmt::sprintf("%s, %d", LongText().c_str(), 8); });
