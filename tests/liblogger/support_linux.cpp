#include <sched.h>
#include <sys/mount.h>

#include "tests/liblogger/support.h"

bool MountSmallDisk(const std::filesystem::path& folder, const char* bytes) {
  if (unshare(CLONE_NEWNS) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
  if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return false;
  return mount("tmpfs", folder.c_str(), "tmpfs", 0, (std::string("size=") + bytes).c_str()) == 0;
}

const bool kFirstThreadHasProcessNumber = true;
