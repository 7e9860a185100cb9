#include "common/strings/replace.h"

#include <algorithm>
#include <cstddef>

// A text that is edited from the front to the end: `done` characters at its start, then a gap, then the rest, which
// begins at `rest`. A replacement moves only what is near it. The gap is closed in the end, after an exception as well.
template <typename String>
class GapText {
 public:
  explicit GapText(String& string) : text(string) {}
  ~GapText() { text.erase(done, rest - done); }
  GapText(const GapText&) = delete;
  GapText& operator=(const GapText&) = delete;

  // How many characters of the rest come before the first `wanted`; npos when it is not there.
  size_t Find(const String& wanted) const {
    const size_t found = text.find(wanted, rest);
    return found == String::npos ? found : found - rest;
  }

  // Makes the next characters of the rest, as far as there are so many, part of what is done.
  void Pass(size_t count) {
    count = std::min(count, text.size() - rest);
    if (done != rest) Traits::move(text.data() + done, text.data() + rest, count);
    done += count;
    rest += count;
  }

  // Puts `to` in the place of the next `length` characters of the rest.
  void Replace(size_t length, const String& to) {
    if (rest + length - done < to.size()) Widen(to.size());
    rest += length - to.size();
    Traits::copy(text.data() + rest, to.data(), to.size());
  }

 private:
  using Traits = typename String::traits_type;

  void Widen(size_t needed) {
    const size_t added = text.size() + needed;
    const size_t moved = text.size() - rest;
    text.resize(text.size() + added);
    Traits::move(text.data() + rest + added, text.data() + rest, moved);
    rest += added;
  }

  String& text;
  size_t done = 0;
  size_t rest = 0;
};

template <typename String>
static void ReplaceAll(String& text, const String& from, const String& to) {
  GapText<String> edited(text);
  for (size_t before; (before = edited.Find(from)) != String::npos;) {
    edited.Pass(before);
    edited.Replace(from.size(), to);
    // Steps over the searched text, not the replacement: the tail of a longer `to` is searched again, and behind a
    // shorter one as many characters are not searched.
    edited.Pass(from.size());
  }
}

void replace_all(std::string& text, const std::string& from, const std::string& to) { ReplaceAll(text, from, to); }

void replace_all(std::wstring& text, const std::wstring& from, const std::wstring& to) { ReplaceAll(text, from, to); }
