#include "launcherctl/text_table.h"

#include "launcherctl/escape.h"

static constexpr char kDots[] = "...";
static constexpr size_t kDotsColumns = 3;

// The bytes of the first `characters` characters.
static size_t BytesOf(std::string_view text, size_t characters) {
  size_t bytes = 0;
  for (; characters > 0 && bytes < text.size(); --characters) {
    const size_t of_character = CharacterBytes(text.substr(bytes));
    bytes += of_character > 0 ? of_character : 1;
  }
  return bytes;
}

std::string CutInMiddle(const std::string& text, size_t columns) {
  const size_t characters = CountCharacters(text);
  if (characters <= columns) return text;
  if (columns <= kDotsColumns) return text.substr(0, BytesOf(text, columns));
  const size_t kept = columns - kDotsColumns;
  const size_t at_end = kept / 2;
  return text.substr(0, BytesOf(text, kept - at_end)) + kDots + text.substr(BytesOf(text, characters - at_end));
}

std::string CutAtEnd(const std::string& text, size_t columns) {
  if (CountCharacters(text) <= columns) return text;
  if (columns <= kDotsColumns) return text.substr(0, BytesOf(text, columns));
  return text.substr(0, BytesOf(text, columns - kDotsColumns)) + kDots;
}

std::string Padded(std::string text, size_t columns) {
  const size_t characters = CountCharacters(text);
  if (characters < columns) text.append(columns - characters, ' ');
  return text;
}

std::string Plural(int64_t count, const std::string& word) {
  return std::to_string(count) + " " + word + (count == 1 ? "" : "s");
}
