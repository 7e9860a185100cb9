#include "common/strings/wildcard.h"

#include <cctype>
#include <cstddef>
#include <cwctype>
#include <string>

// An expression consists of parts, between which '*' and '<' stand. Two things make matching simple:
//
// - Inside a part nothing has to be tried: from one place in the name it leads to one other place, or it fails.
// - Parts keep order: of two places from which a part does not fail, the one farther in front leads to the one farther
//   in front, or both lead to the same.
//
// So of all places that a part leads to, only the first one counts for a '*' behind it: it reaches whatever the others
// reach. A '<' reaches up to the last dot of the name from places before that, and like a '*' to the end from places
// behind it; so the first one on either side counts.
//
// The exception is a '<' at the start of a name without a dot, where it takes nothing. Every place that a '*' or '<'
// has reached counts as such a start too; but all places behind it are reached as well, so that taking nothing is as
// much.

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
static bool AsksForTheLastDot(const Char* expression) {
  while (*expression != 0 && *expression != '<' && *expression != '>') ++expression;
  return *expression != 0;
}

// A name and the border in it. The place behind its terminator stands for all that is beyond the end.
template <typename Char>
struct Name {
  Name(const Char* text, const Char* expression)
      : start(text), end(text + std::char_traits<Char>::length(text)), border(start) {
    if (!AsksForTheLastDot(expression)) return;
    border = end;
    while (border != start && border[-1] != '.') --border;
  }
  const Char* const start;
  const Char* const end;
  const Char* border;  // Behind the last dot; the start when there is none, or when nothing depends on it.
};

template <typename Char>
static bool IsWildcard(Char character) {
  return character == '*' || character == '?' || character == '<' || character == '>' || character == '"';
}

// What stands between two wildcards that take runs, before the first one or behind the last one.
template <typename Char>
struct Part {
  explicit Part(const Char* expression) : start(expression), end(expression) {
    while (*end != 0 && *end != '*' && *end != '<') ++end;
  }
  bool IsLast() const { return *end == 0; }
  // Whether the rest of the name does not matter.
  bool IsBeforeLastStar() const { return *end == '*' && end[1] == 0; }

  const Char* start;
  const Char* end;
};

// Where the part leads to from `place`; null when it fails.
template <typename Char>
static const Char* Follow(const Part<Char>& part, const Name<Char>& name, const Char* place, bool ignore_case) {
  for (const Char* wanted = part.start; wanted != part.end; ++wanted) {
    if (place > name.end) {
      if (*wanted != '?') return nullptr;
      continue;
    }
    switch (*wanted) {
      case '"':
        if (*place == '.') ++place;
        break;
      case '?':
        ++place;
        break;
      case '>':
        if (place + 1 != name.border) ++place;  // Not the last dot, but the terminator.
        break;
      default:
        if (place == name.end || !IsSame(*wanted, *place, ignore_case)) return nullptr;
        ++place;
    }
  }
  return place;
}

// Which places of a name wildcards have reached: those from `in_front` up to the border, and those from `behind` up to
// the end. Null stands for none.
template <typename Char>
struct Reached {
  const Char* in_front = nullptr;
  const Char* behind = nullptr;
};

// The first place, not before `earliest`, that the part leads to from one of [from, stop); null when there is none.
template <typename Char>
static const Char* FirstLedTo(const Char* earliest, const Part<Char>& part, const Name<Char>& name, const Char* from,
                              const Char* stop, bool ignore_case) {
  // Each character of the part takes one of the name at most.
  const auto longest = part.end - part.start;
  if (earliest - from > longest) from = earliest - longest;
  const bool begins_as_it_is = !ignore_case && part.start != part.end && !IsWildcard(*part.start);
  for (; from < stop; ++from) {
    if (begins_as_it_is) {
      from = std::char_traits<Char>::find(from, static_cast<size_t>(stop - from), *part.start);
      if (from == nullptr) return nullptr;
    }
    const Char* place = Follow(part, name, from, ignore_case);
    if (place != nullptr && place >= earliest) return place;
  }
  return nullptr;
}

template <typename Char>
static const Char* FirstLedTo(const Char* earliest, const Part<Char>& part, const Name<Char>& name,
                              const Reached<Char>& reached, bool ignore_case) {
  const Char* place = nullptr;
  if (reached.in_front != nullptr) {
    place = FirstLedTo(earliest, part, name, reached.in_front, name.border, ignore_case);
  }
  if (place == nullptr && reached.behind != nullptr) {
    place = FirstLedTo(earliest, part, name, reached.behind, name.end + 1, ignore_case);
  }
  return place;
}

// Matches from the first wildcard on that takes a run: that which stands behind `part`, which has led to `place`.
template <typename Char>
static bool MatchesWithRuns(Part<Char> part, const Name<Char>& name, const Char* place, bool ignore_case) {
  Reached<Char> reached;
  (place < name.border ? reached.in_front : reached.behind) = place;
  for (;;) {
    if (*part.end == '*' && reached.in_front != nullptr) reached.behind = name.border;
    part = Part<Char>(part.end + 1);
    if (part.IsLast()) return FirstLedTo(name.end, part, name, reached, ignore_case) == name.end;

    const Char* const first = FirstLedTo(name.start, part, name, reached, ignore_case);
    if (first == nullptr) return false;
    if (part.IsBeforeLastStar()) return true;
    if (first > name.end) return false;
    Reached<Char> next;
    if (first >= name.border) {
      next.behind = first;
    } else {
      next.in_front = first;
      if (*part.end == '<') next.behind = FirstLedTo(name.border, part, name, reached, ignore_case);
    }
    reached = next;
  }
}

template <typename Char>
static bool Matches(const Char* expression, const Char* text, bool ignore_case) {
  const Name<Char> name(text, expression);
  const Char* place = name.start;
  for (const Char* rest = expression;;) {
    const Part<Char> part(rest);
    place = Follow(part, name, place, ignore_case);
    if (place == nullptr) return false;
    if (part.IsBeforeLastStar()) return true;
    if (part.IsLast()) return place == name.end;
    if (place > name.end) return false;
    const bool takes_nothing = *part.end == '<' && place == name.start && name.border == name.start;
    if (!takes_nothing) return MatchesWithRuns(part, name, place, ignore_case);
    rest = part.end + 1;
  }
}

bool IsNameInExpression(const wchar_t* expression, const wchar_t* name, bool ignore_case) {
  return Matches(expression, name, ignore_case);
}

bool IsNameInExpressionA(const char* expression, const char* name, bool ignore_case) {
  return Matches(expression, name, ignore_case);
}
