// What the log needs to know of a file, and nothing else: on Linux, asking for a file's times makes the next write
// to it record them anew, which costs more than the write.
#pragma once

#include <sys/types.h>

#include <cstdint>

struct FileStatus {
  uint64_t device;
  uint64_t inode;
  off_t size_bytes;
  bool is_regular;
  bool has_name;

  bool IsSameFile(const FileStatus& other) const { return device == other.device && inode == other.inode; }
};

// Fill in `status` and return whether that worked; `errno` says why not. A symbolic link is not followed.
bool GetPathStatus(const char* path, FileStatus& status);
bool GetDescriptorStatus(int file, FileStatus& status);
