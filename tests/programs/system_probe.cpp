// Prints what the system functions answer where this program lies, one "function=answer" a line.

#include <cstdio>

#include "common/system/executable.h"
#include "common/system/identity.h"

int main() {
  (void)printf("GetCurrentPath=%s\n", GetCurrentPath().c_str());
  (void)printf("GetUserName=%s\n", GetUserName().c_str());
}
