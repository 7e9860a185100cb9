#include <mach-o/dyld.h>

#include "common/system/executable.h"

int GetExecutablePath(char* buffer, uint32_t* size) { return _NSGetExecutablePath(buffer, size); }
