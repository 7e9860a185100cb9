#include "launcherctl/read_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

using State = FileContent::State;

namespace {

// Closes the descriptor when the object ends.
class Descriptor {
 public:
  explicit Descriptor(int number) : descriptor(number) {}
  ~Descriptor() {
    if (descriptor >= 0) (void)close(descriptor);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return descriptor; }

 private:
  const int descriptor;
};

}  // namespace

static std::string KindOf(mode_t mode) {
  if (S_ISDIR(mode)) return "a folder";
  if (S_ISFIFO(mode)) return "a FIFO";
  if (S_ISSOCK(mode)) return "a socket";
  return "a device";
}

static FileContent Failed(int error) {
  FileContent content;
  content.state = error == ENOENT || error == ENOTDIR ? State::kMissing : State::kUnreadable;
  content.reason = strerror(error);
  return content;
}

// Fills in what the system knows of the file. False when it is not one that can be read.
static bool Look(const struct stat& status, FileContent& content) {
  content.mode = status.st_mode & 07777U;
  content.modified = status.st_mtime;
  if (S_ISREG(status.st_mode)) return true;
  content.state = State::kNotAFile;
  content.reason = KindOf(status.st_mode);
  return false;
}

FileContent ReadRegularFile(const std::string& path, size_t most_bytes) {
  FileContent content;
  struct stat status = {};
  // Looked at by its path first: opening a device may do something already.
  if (stat(path.c_str(), &status) != 0) return Failed(errno);
  if (!Look(status, content)) return content;
  // What stands there may have changed meanwhile, hence O_NONBLOCK and the second look.
  const Descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (file.get() < 0 || fstat(file.get(), &status) != 0) return Failed(errno);
  if (!Look(status, content)) return content;

  constexpr size_t kLeastBytes = 65536;
  size_t length = 0;
  content.bytes.resize(std::min(most_bytes, static_cast<size_t>(status.st_size)) + kLeastBytes);
  for (;;) {
    const ssize_t count = read(file.get(), content.bytes.data() + length, content.bytes.size() - length);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return Failed(errno);
    if (count == 0) break;
    length += static_cast<size_t>(count);
    if (length > most_bytes) {
      content.bytes.clear();
      content.state = State::kTooLarge;
      content.reason = "has more than " + std::to_string(most_bytes >> 20U) + " MiB";
      return content;
    }
    if (length == content.bytes.size()) content.bytes.resize(length * 2);
  }
  content.bytes.resize(length);
  return content;
}
