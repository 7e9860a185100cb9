// A program to be supervised that adds one line to the file that the environment variable ARGUMENTS names: its
// arguments, argv[0] included, each as the hexadecimal digits of its bytes, separated by blanks and with one at the
// end. Then it ends, with status 0.

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

int main(int argc, char** argv) {
  std::string line;
  for (int i = 0; i < argc; ++i) {
    for (const char* byte = argv[i]; *byte != '\0'; ++byte) {
      static constexpr char kHexDigits[] = "0123456789abcdef";
      line += kHexDigits[static_cast<unsigned char>(*byte) >> 4];
      line += kHexDigits[*byte & 0x0F];
    }
    line += ' ';
  }
  line += '\n';
  const char* const path = getenv("ARGUMENTS");
  if (path == nullptr) return 1;
  const int file = open(path, O_WRONLY | O_APPEND | O_CREAT, 0600);
  const auto length = static_cast<ssize_t>(line.size());
  return file >= 0 && write(file, line.data(), line.size()) == length ? 0 : 1;
}
