// A program knows where it lies, and its arguments.
#include <string.h>

#include <string>

#include "common/system/executable.h"
#include "tests/tools/machorun/fixture.h"

int main(int argc, char** argv) {
  char path[1025] = {};
  uint32_t bytes = sizeof(path);
  EXPECT(GetExecutablePath(path, &bytes) == 0);
  EXPECT(std::string(path).find("executable_path") != std::string::npos);
  EXPECT(argc == 1);
  EXPECT(strstr(argv[0], "executable_path") != nullptr);
  bytes = 3;
  EXPECT(GetExecutablePath(path, &bytes) != 0);
  return 0;
}
