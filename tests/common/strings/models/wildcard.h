// Wildcard matching, told literally: every run that a '*' or '<' may take is tried, one by one, by matching the rest of
// the expression against the rest of the name as if that were a whole name. Exponential; for short texts only.
#pragma once

#include <cctype>
#include <cwctype>

inline wint_t ModelUpperCase(wchar_t character) { return towupper(static_cast<wint_t>(character)); }

// Bytes from 0x80 up stay themselves, as negative numbers: where a locale knows an upper case of a letter below 0x80
// that lies there (a Turkish one of 'i'), it is not taken for the byte.
inline int ModelUpperCase(char character) {
  const auto byte = static_cast<signed char>(character);
  return byte >= 0 ? toupper(byte) : byte;
}

template <typename Char>
inline bool ModelIsSame(Char a, Char b, bool ignore_case) {
  return a == b || (ignore_case && ModelUpperCase(a) == ModelUpperCase(b));
}

template <typename Char>
inline const Char* ModelEndOf(const Char* text) {
  while (*text != 0) ++text;
  return text;
}

// The last '.' of the text, or its end when it has none.
template <typename Char>
inline const Char* ModelLastDotOrEnd(const Char* text) {
  const Char* dot = nullptr;
  for (; *text != 0; ++text) {
    if (*text == '.') dot = text;
  }
  return dot != nullptr ? dot : text;
}

template <typename Char>
inline bool ModelMatches(const Char* expression, const Char* name, bool ignore_case);

// Whether the expression matches the name from any place on that lies before `stop`.
template <typename Char>
inline bool ModelMatchesBefore(const Char* stop, const Char* expression, const Char* name, bool ignore_case) {
  for (; name != stop; ++name) {
    if (ModelMatches(expression, name, ignore_case)) return true;
  }
  return false;
}

template <typename Char>
inline bool ModelMatches(const Char* expression, const Char* name, bool ignore_case) {
  const Char* const start = name;
  bool beyond_end = false;  // A wildcard took a character where none was left; `name` stays at the terminator.
  for (;; ++expression) {
    if (*expression == '*' && expression[1] == 0) return true;
    if (beyond_end && *expression != '?') return false;
    switch (*expression) {
      case 0:
        return *name == 0;
      case '*': {
        const Char* stop = ModelEndOf(name);
        if (ModelMatchesBefore(stop, expression + 1, name, ignore_case)) return true;
        name = stop;
        break;
      }
      case '<': {
        const Char* stop = ModelLastDotOrEnd(name);
        if (*stop == 0 && name == start) break;
        if (ModelMatchesBefore(stop, expression + 1, name, ignore_case)) return true;
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
        } else if (*name != '.' || *ModelLastDotOrEnd(name + 1) == '.') {
          ++name;
        }
        break;
      default:
        if (!ModelIsSame(*expression, *name, ignore_case)) return false;
        ++name;
    }
  }
}
