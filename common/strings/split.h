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
// An expression that can match the empty text advances by the rules of `std::regex_iterator`, so that
// split("ab", std::regex("x*")) gives "", "a", "b".
//
// Throws only what the allocation or the expression's matcher throws. Pieces may be of any length, but some matchers
// recurse once for each character that a '*' or '+' takes, in a separator and in what merely begins like one: "a+="
// overflows the stack on a text with some ten thousand 'a' in a row. Expressions without these are safe on any text.
//
// Safe to call from any thread, and between `fork` and `execv` as long as the process has used a regular expression
// before. That is not said of constructing one: in some standard libraries the first expressions of a process fill
// tables of the locale without a lock, so construct one before the threads start.
std::vector<std::string> split(const std::string& text, const std::regex& separator);
std::vector<std::wstring> split(const std::wstring& text, const std::wregex& separator);
