// Finds out whether code reads beyond the end of a text.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <string>

// A page with another one behind it that can't be read. Whatever reads beyond the text at its end is ended by a signal.
class PageEnd {
 public:
  PageEnd() : page_bytes(static_cast<size_t>(sysconf(_SC_PAGESIZE))) {
    void* const mapped = mmap(nullptr, 2 * page_bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANON, -1, 0);
    if (mapped == MAP_FAILED) throw std::runtime_error("mmap() failed");
    pages = static_cast<char*>(mapped);
    if (mprotect(pages + page_bytes, page_bytes, PROT_NONE) != 0) throw std::runtime_error("mprotect() failed");
  }
  ~PageEnd() { (void)munmap(pages, 2 * page_bytes); }
  PageEnd(const PageEnd&) = delete;
  PageEnd& operator=(const PageEnd&) = delete;

  // Copies the text so that its last character is the last that can be read, and returns the copy. It has no terminator
  // and lives until the next call. At most a page of it fits.
  template <typename Char>
  const Char* Place(const std::basic_string<Char>& text) {
    const size_t bytes = text.size() * sizeof(Char);
    void* const place = pages + page_bytes - bytes;
    (void)memcpy(place, text.data(), bytes);
    return static_cast<const Char*>(place);
  }

  // The same with a terminator, which is then the last that can be read.
  template <typename Char>
  const Char* PlaceTerminated(const std::basic_string<Char>& text) {
    return Place(text + Char());
  }

 private:
  const size_t page_bytes;
  char* pages = nullptr;
};
