// Cuts texts at the matches of a regular expression. For plain delimiters there are cheaper ways; this one serves
// callers whose separator is an expression, or who need exactly its rules for empty pieces.
#pragma once

#include <regex>
#include <string>
#include <vector>

// Returns the pieces of `text` that lie between the matches of `separator`, in order, as copies. Separators are not
// part of any piece.
//
// A separator at the start gives an empty first piece, two in a row an empty piece between them; one at the end
// gives no empty last piece. Without a match the only piece is the whole text, even if that is empty: the result
// has always at least one piece.
//
//   split("a==b=", std::regex("="))  // "a", "", "b"
//   split("", std::regex("="))       // ""
//
// Throws only what the allocation or the expression's matcher throws. Pieces may be of any length, but some matchers
// recurse once for each character that a '*' or '+' takes, so that a single separator of some ten thousand characters
// overflows the stack.
//
// An expression that can match the empty text
// advances by the rules of `std::regex_iterator`, so that split("ab", std::regex("x*")) gives "", "a", "b". Safe to
// call from any thread, and between `fork` and `execv` as long as the process has used a regular expression before.
std::vector<std::string> split(const std::string& text, const std::regex& separator);
std::vector<std::wstring> split(const std::wstring& text, const std::wregex& separator);
