// Lays out texts for a terminal.
#pragma once

#include <string>
#include <string_view>
#include <vector>

// Returns `text`, which is UTF-8, in at most `columns` characters; of a longer one the middle is left out:
// "uploa...ant".
std::string CutInMiddle(const std::string& text, size_t columns);
// The same, but the end is left out.
std::string CutAtEnd(const std::string& text, size_t columns);
// Appends blanks up to `columns` characters.
std::string Padded(std::string text, size_t columns);

std::string Plural(int64_t count, const std::string& word);
