// Replaces parts of texts.
#pragma once

#include <string>

// Replaces occurrences of `from` in `text` by `to`, in place, from left to right. Where `to` is at least as long as
// `from` and free of it, that is every occurrence, each exactly once.
//
// The search continues `from.size()` characters behind the start of each replacement, whatever the length of `to`:
// - A shorter `to` makes it skip characters: replacing "ab" by "" in "abab" leaves "ab".
// - A longer `to` has its tail searched again.
//
// THE CALL NEVER RETURNS in two cases, which callers must keep away from it:
// - `from` is empty: it is found again at the same place for ever.
// - `to` holds `from` behind its first `from.size()` characters, as in replacing "a" by "ba" or by "aa": each
//   replacement is found again, and `text` grows until memory is exhausted.
//
// The time is linear in what is read and written. Nothing is allocated unless `to` is longer than `from`. Throws only
// what allocation throws; `text` then holds the replacements made so far. `from` and `to` must be other objects than
// `text`. Safe to call from any thread on texts of its own.
//
//   std::string text = "x-y-z";
//   replace_all(text, "-", "+");  // text is "x+y+z"
void replace_all(std::string& text, const std::string& from, const std::string& to);
void replace_all(std::wstring& text, const std::wstring& from, const std::wstring& to);
