#include <fcntl.h>
#include <unistd.h>

#include "liblogger/replace_descriptor.h"

bool ReplaceDescriptor(int descriptor, int number) { return dup3(descriptor, number, O_CLOEXEC) == number; }
