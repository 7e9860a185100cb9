#include "tests/liblogger/support.h"

bool MountSmallDisk(const std::filesystem::path&, const char*) { return false; }

const bool kFirstThreadHasProcessNumber = false;
