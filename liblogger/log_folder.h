// Makes the folder that log files lie in.
#pragma once

// Makes the folder `path`, and its parents, where they are missing; what exists is left as it is. A new folder is its
// owner's alone (0700). `path` is absolute and shorter than PATH_MAX. Returns 0 or an errno value.
//
// Takes no lock and allocates nothing; safe after `fork`.
int MakeFolder(const char* path);

// Writes a file of one record's size into the folder `path` and removes it again. Returns 0 if that worked, and
// otherwise the errno value that a record would have met.
int TryFolder(const char* path);

// Looks whether the place of a log in the folder `path` is taken by something that is never written to: whether an
// entry whose name ends in ".log" is not a regular file. Returns 0, or the errno value that a record would meet: ELOOP
// for a symbolic link, EISDIR for a folder, EINVAL for anything else. A folder that can't be listed tells nothing: 0.
int FindTakenPlace(const char* path);
