// What the checks find: one place, what is wrong there, what comes of it, and what to do.
//
// The members are those of the tool's JSON, by the same names. The codes are stable, the texts for people are not.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

enum class Severity {
  kError,    // The launcher, or this item, will not do what it is for.
  kWarning,  // It works otherwise than it looks.
  kNote,     // Worth knowing; does not change the exit status.
};

struct Finding {
  std::string file;  // As the user gave it.
  size_t line = 1;   // Both count from 1, the column in characters; what concerns the whole file stands at 1:1.
  size_t column = 1;
  std::string code;
  Severity severity = Severity::kError;
  std::optional<int64_t> item;      // The item's number in its list.
  std::optional<std::string> name;  // The item's name, as its bytes are.
  // Whole sentences without a line feed. What they quote is escaped already (escape.h).
  std::string message;
  std::string consequence;
  std::string remedy;
};

// "error", "warning", "note".
const char* SeverityName(Severity severity);

// Sorts by file, line and column; findings of one place keep their order.
void SortFindings(std::vector<Finding>& findings);

// Whether there is an error or a warning among them: what exit status 1 stands for.
bool NeedsAPerson(const std::vector<Finding>& findings);
