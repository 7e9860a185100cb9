// A descriptor that closes itself.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

// Owns a descriptor, or none. For use by one thread; what is shared among threads is kept as a number (see `LogFile`).
class Descriptor {
 public:
  Descriptor() = default;
  // Takes what `open` and its like return, failures included.
  explicit Descriptor(int opened) : own(opened) {}
  Descriptor(Descriptor&& other) noexcept : own(std::exchange(other.own, kNone)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(own, other.own);
    return *this;
  }
  // Keeps `errno`, which often still tells why something else failed.
  ~Descriptor() {
    if (!IsOpen()) return;
    const int error = errno;
    (void)close(own);
    errno = error;
  }

  bool IsOpen() const { return own >= 0; }
  int Number() const { return own; }

 private:
  static constexpr int kNone = -1;
  int own = kNone;
};
