#include "common/strings/wildcard.h"

#include <cctype>
#include <cwctype>

static wint_t UpperCase(wchar_t character) { return towupper(static_cast<wint_t>(character)); }

// Bytes from 0x80 up stay themselves, as negative numbers: where a locale knows an upper case of a letter below 0x80
// that lies there (a Turkish one of 'i'), it is not taken for the byte.
static int UpperCase(char character) {
  const auto byte = static_cast<signed char>(character);
  return byte >= 0 ? toupper(byte) : byte;
}

template <typename Char>
static bool IsSame(Char a, Char b, bool ignore_case) {
  return a == b || (ignore_case && UpperCase(a) == UpperCase(b));
}

template <typename Char>
static const Char* EndOf(const Char* text) {
  while (*text != 0) ++text;
  return text;
}

// The last '.' of the text, or its end when it has none.
template <typename Char>
static const Char* LastDotOrEnd(const Char* text) {
  const Char* dot = nullptr;
  for (; *text != 0; ++text) {
    if (*text == '.') dot = text;
  }
  return dot != nullptr ? dot : text;
}

template <typename Char>
static bool Matches(const Char* expression, const Char* name, bool ignore_case);

// Whether the expression matches the name from any place on that lies before `stop`.
template <typename Char>
static bool MatchesBefore(const Char* stop, const Char* expression, const Char* name, bool ignore_case) {
  for (; name != stop; ++name) {
    if (Matches(expression, name, ignore_case)) return true;
  }
  return false;
}

template <typename Char>
static bool Matches(const Char* expression, const Char* name, bool ignore_case) {
  const Char* const start = name;
  bool beyond_end = false;  // A wildcard took a character where none was left; `name` stays at the terminator.
  for (;; ++expression) {
    if (*expression == '*' && expression[1] == 0) return true;
    if (beyond_end && *expression != '?') return false;
    switch (*expression) {
      case 0:
        return *name == 0;
      case '*': {
        const Char* stop = EndOf(name);
        if (MatchesBefore(stop, expression + 1, name, ignore_case)) return true;
        name = stop;
        break;
      }
      case '<': {
        const Char* stop = LastDotOrEnd(name);
        if (*stop == 0 && name == start) break;
        if (MatchesBefore(stop, expression + 1, name, ignore_case)) return true;
        name = stop;
        break;
      }
      case '"':
        if (*name == '.') ++name;
        break;
      case '?':
        if (*name == 0) {
          beyond_end = true;
        } else {
          ++name;
        }
        break;
      case '>':
        if (*name == 0) {
          beyond_end = true;
        } else if (*name != '.' || *LastDotOrEnd(name + 1) == '.') {
          ++name;
        }
        break;
      default:
        if (!IsSame(*expression, *name, ignore_case)) return false;
        ++name;
    }
  }
}

bool IsNameInExpression(const wchar_t* expression, const wchar_t* name, bool ignore_case) {
  return Matches(expression, name, ignore_case);
}

bool IsNameInExpressionA(const char* expression, const char* name, bool ignore_case) {
  return Matches(expression, name, ignore_case);
}
