// Cuts texts into tokens at plain delimiters. The three ways differ on purpose in the empty tokens that they give:
//
//                             split_delim        tokenize, character    tokenize, string
//   the delimiter is          any of a set       one character          the whole string
//   between two delimiters    nothing            an empty token         an empty token
//   before a leading one      nothing            an empty token         an empty token
//   behind a trailing one     nothing            nothing                an empty token
//   an empty text             no tokens          no tokens              one empty token
//
// Each token goes through the caller's `transform` before it is stored: `transform` gets a copy of the token that it
// may change, and what it returns is what the result holds. It is called on the caller's thread, in the order of the
// text. When `transform` is empty, the first token throws `std::bad_function_call`; a text without tokens does not.
// What `transform` throws passes through, and the tokens so far are released.
//
//   const auto as_it_is = [](std::string& token) { return token; };
//
// All functions are safe to call from any thread, as far as `transform` is, and throw nothing else but allocation
// failures.
#pragma once

#include <functional>
#include <string>
#include <vector>

// Returns the tokens between runs of characters from `delimiters`, which are never empty. With no delimiters at all
// the only token is the whole text.
//
//   split_delim(", a,b ", ", ", as_it_is)  // "a", "b"
std::vector<std::string> split_delim(const std::string& text, const std::string& delimiters,
                                     std::function<std::string(std::string&)> transform);
std::vector<std::wstring> split_delim(const std::wstring& text, const std::wstring& delimiters,
                                      std::function<std::wstring(std::wstring&)> transform);

// Returns the tokens that end at each `delimiter` or at the end of the text. A delimiter ends a token and starts none:
// nothing follows the last one unless there is text behind it.
//
//   tokenize(",a,,b,", ',', as_it_is)  // "", "a", "", "b"
std::vector<std::string> tokenize(const std::string& text, char delimiter,
                                  std::function<std::string(std::string&)> transform);
std::vector<std::wstring> tokenize(const std::wstring& text, wchar_t delimiter,
                                   std::function<std::wstring(std::wstring&)> transform);

// Returns the tokens before, between and behind the occurrences of `delimiter`, found from left to right without
// overlaps: always one more than there are occurrences.
//
// THE CALL NEVER RETURNS when `delimiter` is empty: it is found again at the same place for ever, and the tokens take
// ever more memory. Callers must keep that away from it.
//
//   tokenize("::a::::b::", "::", as_it_is)  // "", "a", "", "b", ""
std::vector<std::string> tokenize(const std::string& text, std::string delimiter,
                                  std::function<std::string(std::string&)> transform);
std::vector<std::wstring> tokenize(const std::wstring& text, std::wstring delimiter,
                                   std::function<std::wstring(std::wstring&)> transform);
