// Edits paths as texts, without a look at the file system. The functions differ in what they take for a slash:
//
//   '/' and '\'   remove_head_slashes, remove_tail_slashes, and split_container_name for the slashes that it strips
//   '/' only      all others; to them a backslash is a character like any other
//
// The path is taken by value and the caller's own never changes. All functions are safe to call from any thread; they
// throw only allocation failures.
#pragma once

#include <string>

// Returns the path with a '/' at its end: the one that is there, or a new one. An empty path gives "/".
std::string ensure_ends_with_divider(std::string path);

// Return the path without the slashes and backslashes at its start, or at its end. A path of nothing else stays whole,
// so that the root does not become an empty path.
//
//   remove_head_slashes("//a/")  // "a/"
//   remove_tail_slashes("///")   // "///"
std::string remove_head_slashes(std::string path);
std::string remove_tail_slashes(std::string path);

// Returns the path with each run of '/' shortened to one.
//
//   remove_duplicated_slashes("//a///b/")  // "/a/b/"
std::string remove_duplicated_slashes(std::string path);

// Splits a path at the first '/' behind its leading slashes: `container` becomes what stands before it, `rest` what
// stands behind it, and the '/' belongs to neither. Without such a '/' the container is the whole path without its
// leading slashes, and `rest` becomes empty. An empty path leaves both as they are.
//
// `container` is assigned before `rest`, so that one string given for both ends up with the rest.
//
//   split_container_name("/a/b/c", container, rest)  // "a", "b/c"
//   split_container_name("///", container, rest)     // "", "//": a path of slashes only is not stripped
void split_container_name(std::string path, std::string& container, std::string& rest);

// Returns what stands behind the last '/': the whole path when there is none, nothing when it is the last character.
//
//   get_file_name("a/b/c.txt")  // "c.txt"
std::string get_file_name(std::string path);

// Return whether a path lies in the QZFS file system. On this platform every path does, so that the answer is `true`
// and `path`, which may be null, is not read.
bool IsQZFS(wchar_t* path);
bool IsQZFS(char* path);
